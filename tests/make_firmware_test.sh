#!/bin/sh
# make_firmware: the images that it builds, what it recognises in files, what it refuses, and its exit status. Offsets
# are numbers of the test's own, so that a wrong one in the program shows. $1 is the program.
set -u
program=$1
folder=$(mktemp -d) || exit 1
trap 'rm -rf "$folder"' EXIT
cd "$folder" || exit 1

fail() { echo "$*" && exit 1; }

# expect STATUS WORDS ARGUMENTS...: runs the program; WORDS, if any, have to be in what it prints.
expect() {
  wanted=$1 words=$2
  shift 2
  "$program" "$@" >printed 2>&1
  status=$?
  [ $status -eq "$wanted" ] || fail "make_firmware $*: exit status $status instead of $wanted"
  [ -z "$words" ] || grep -qF -- "$words" printed || fail "make_firmware $*: no '$words' in: $(cat printed)"
}

# holds FILE OFFSET BYTES WHAT: the bytes are at that offset, in hexadecimal.
holds() {
  found=$(od -An -v -tx1 -j "$(($2))" -N $((${#3} / 2)) "$1" | tr -d ' \n')
  [ "$found" = "$3" ] || fail "$4 in $1, at $2: $found instead of $3"
}

expect 0 '' hub --version 1.3 hub.bin
holds hub.bin 0x7EF9 0103 'version'
holds hub.bin 0xFF00 55aa 'vendor-config block'
holds hub.bin 0xFEF0 55aa 'mark'
expect 0 'checksum       0x5f6a' show hub.bin # the same bytes on every machine

expect 0 '' scaler --version 12.0 --model QX1650 --size 0x100000 scaler.bin
holds scaler.bin 0xF8FE aa550c00 'user-code mark and version'
holds scaler.bin 0xF906 5158313635300000000000000000000000000000 'model'
expect 0 'warning' scaler --version=200.1 --model QX1650 scaler.bin

head -c 32506 hub.bin >short.bin
expect 1 'too short' show short.bin
for unreadable in missing.bin .; do expect 1 'cannot read' show $unreadable; done
expect 1 'cannot write' hub --version 1.3 missing/hub.bin
for version in 1.256 1 1.; do expect 2 'no version' hub --version $version a; done
for size in 32768 262400 65537; do expect 2 'size' hub --version 1.3 --size $size a; done
for size in 65536 1048577; do expect 2 'size' scaler --version 1.3 --model QX1650 --size $size a; done
[ ! -e a ] || fail "a refused command wrote its file"
