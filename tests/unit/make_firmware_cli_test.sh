#!/bin/sh
# The command line of make_firmware: what it prints, and its exit status. $1 is the program.
set -u
program=$1
folder=$(mktemp -d) || exit 1
trap 'rm -rf "$folder"' EXIT
cd "$folder" || exit 1
failures=0

# expect STATUS WORDS ARGUMENTS...: runs the program; WORDS, if any, have to be in what it prints.
expect() {
  wanted=$1 words=$2
  shift 2
  "$program" "$@" >printed 2>&1
  status=$?
  if [ $status -ne "$wanted" ] || ! { [ -z "$words" ] || grep -qF -- "$words" printed; }; then
    echo "make_firmware $*: status $status (not $wanted?), no '$words'? in:"
    cat printed
    failures=$((failures + 1))
  fi
}

expect 0 '' hub --version 1.3 hub.bin
expect 0 'warning' scaler --version=200.1 --model QX1650 --size 0x20000 scaler.bin
expect 0 'mark           valid' show hub.bin
expect 0 'model          QX1650' show scaler.bin
expect 0 '200.1 (negative' show hub.bin scaler.bin
expect 0 'Usage:' show --help
: >empty.bin
expect 1 'empty.bin: too short' show empty.bin hub.bin
head -c 32506 hub.bin >short.bin
expect 1 'too short' show short.bin
head -c 65536 /dev/zero >foreign.bin
expect 1 'neither a hub image' show foreign.bin
expect 1 'cannot read' show missing.bin
expect 1 'cannot read' show .
expect 1 'cannot write' hub --version 1.3 missing/hub.bin
[ ! -e /dev/full ] || expect 1 'cannot write' hub --version 1.3 /dev/full
expect 2 'name a command'
expect 2 'no such command' hubs
expect 2 'name the files' show
expect 2 '--version is missing' hub hub.bin
expect 2 'one file' hub --version 1.3 a b
expect 2 'no version' hub --version 1.256 a
expect 2 'no version' hub --version 1 a
expect 2 'no size' hub --version 1.3 --size 64k a
expect 2 'multiple of 256' hub --version 1.3 --size 65000 a
expect 2 'model' hub --version 1.3 --model QX1650 a
expect 2 'model name' scaler --version 1.3 a
[ ! -e a ] || { echo "a refused command wrote its file"; failures=$((failures + 1)); }
exit $failures
