#!/usr/bin/env bash
# Reads from finished Linux programs what they were hardened with, and that they have no network library.
#   hardening_test.sh PROGRAM...
set -euo pipefail
[ $# -gt 0 ] || { echo "hardening: name a program" >&2; exit 2; }
failed=0

# check PROGRAM WHAT PATTERN READELF_OPTION: readelf prints a line that matches.
check() {
  grep -Eq "$3" <<<"$(readelf -W "$4" "$1")" || { echo "hardening: $1: no $2" >&2; failed=1; }
}

for program; do
  check "$program" "position-independent code" 'Type: +DYN .*Position-Independent Executable' --file-header
  check "$program" "read-only relocations" GNU_RELRO --program-headers
  check "$program" "binding at start" '\(FLAGS\).*BIND_NOW' --dynamic
  check "$program" "stack without execution" 'GNU_STACK .* RW +0x' --program-headers
  check "$program" "stack protector" ' __stack_chk_fail(@|$)' --dyn-syms
  check "$program" "fortified calls" ' __v?(f|sn?)?printf_chk(@|$)' --dyn-syms
  if grep -q 'NEEDED.*Network' <<<"$(readelf -W --dynamic "$program")"; then
    echo "hardening: $program: links a network library" >&2
    failed=1
  fi
done
exit $failed
