#!/bin/sh
# How a shipped file was built: full RELRO, a stack and data that cannot run, checked copies, stack protector, and every
# object marked for the processor's branch protection.
# Usage: hardening.sh FILE
set -eu
file=$1
readelf=${READELF:-readelf}
status=0
fail() {
  echo "hardening.sh: $(basename "$file"): $*" >&2
  status=1
}
has() { printf '%s\n' "$1" | grep -Eq -- "$2"; }

segments=$("$readelf" -lW "$file")
has "$segments" GNU_RELRO || fail "no read-only relocations"
has "$segments" 'GNU_STACK.* RW +0x' || fail "the stack is executable"
! has "$segments" 'LOAD.* RWE ' || fail "a segment is writable and executable"
has "$("$readelf" -dW "$file")" '(FLAGS.*|\()BIND_NOW|FLAGS_1.* NOW' || fail "symbols are bound late"
symbols=$("$readelf" --dyn-syms -W "$file")
has "$symbols" __stack_chk_fail || fail "no stack protector"
has "$symbols" '_chk(@|$| )' || fail "no checked copies"
case $file in
  *.so)
    notes=$("$readelf" -nW "$file")
    case $("$readelf" -hW "$file" | sed -n 's/ *Machine: *//p') in
      *X86-64*) has "$notes" 'x86 feature:.*IBT.*SHSTK' || fail "not marked for CET" ;;
      AArch64) has "$notes" 'AArch64 feature:.*BTI.*PAC' || fail "not marked for branch protection" ;;
      *) fail "unknown machine" ;;
    esac
    ;;
esac
exit $status
