#!/bin/bash
# How a shipped file was built: full RELRO, a stack and data that cannot run, checked copies, stack protector, and unless
# it is linked statically, every object marked for the processor's branch protection. And of a library: nothing needed but
# the C++ runtime and libc in versions that are everywhere since 2017, its own file name as SONAME, no text relocations. It exports exactly the names in exports.txt (the hardened one also those
# in exports_hardened.txt), without versions; of these it refers to those in replaceable.list, and binds all others
# inside. The module for OpenSSL exports the one name that is asked for, and cannot print on standard output.
# usage: shipped.sh FILE; NM and READELF name the tools of the target
set -eu
file=$1
here=$(cd "$(dirname "$0")" && pwd)
status=0
fail() {
  echo "shipped.sh: $(basename "$file"): $*" >&2
  status=1
}
read_elf() { "${READELF:-readelf}" -W "$1" "$file"; }
has() { grep -Eq -- "$2" <<<"$1"; }

segments=$(read_elf -l)
dynamic=$(read_elf -d)
symbols=$(read_elf --dyn-syms)
has "$segments" GNU_RELRO || fail "no read-only relocations"
has "$segments" 'GNU_STACK.* RW +0x' || fail "the stack is executable"
! has "$segments" 'LOAD.* RWE ' || fail "a segment is writable and executable"
has "$dynamic" '(FLAGS.*|\()BIND_NOW|FLAGS_1.* NOW' || fail "symbols are bound late"
if ! has "$dynamic" NEEDED; then # a program that has the C library in it, and with that what the checks print
  grep -aq 'stack smashing detected' "$file" || fail "no stack protector"
  grep -aq 'buffer overflow detected' "$file" || fail "no checked copies"
  exit $status
fi
has "$symbols" __stack_chk_fail || fail "no stack protector"
has "$symbols" '_chk(@|$| )' || fail "no checked copies"

case $(read_elf -h | sed -n 's/ *Machine: *//p') in
  *X86-64*) marks='x86 feature:.*IBT.*SHSTK' ;;
  AArch64) marks='AArch64 feature:.*BTI.*PAC' ;;
  *) marks='unknown machine' ;;
esac
has "$(read_elf -n)" "$marks" || fail "not marked for branch protection"
[[ $file == *.so ]] || exit $status
! has "$dynamic" TEXTREL || fail "has text relocations"
strange=$(sed -n 's/.*(NEEDED).*\[\(.*\)\].*/\1/p' <<<"$dynamic" |
  grep -Evx 'lib(stdc\+\+\.so\.6|gcc_s\.so\.1|[cm]\.so\.6)|ld-linux-.*' || true)
[ -z "$strange" ] || fail "needs $strange"
newest=$(grep -Eo 'GLIBC_[0-9.]+' <<<"$symbols" | sort -uV | tail -n 1)
[ "$(printf '%s\n' "$newest" GLIBC_2.25 | sort -V | tail -n 1)" = GLIBC_2.25 ] || fail "needs $newest"

same() { # WHAT WANTED ACTUAL
  diff <(sort -u <<<"$2") <(sort -u <<<"$3") >&2 || fail "$1 differ (< is missing, > is too many)"
}
if [ "$(basename "$file")" = ulmaro.so ]; then
  same "the exported names" OSSL_provider_init "$("${NM:-nm}" -D --defined-only "$file" | awk '{ print $NF }')"
  ! has "$symbols" ' (stdout|puts|.*printf.*)(@|$)' || fail "can print on standard output"
  exit $status
fi
has "$dynamic" "\(SONAME\).*\[$(basename "$file")\]" || fail "SONAME is not the file's name"
lists=("$here/exports.txt")
[[ $file != *Hardened.so ]] || lists+=("$here/exports_hardened.txt")
same "the exported names" "$(cat "${lists[@]}")" "$("${NM:-nm}" -D --defined-only "$file" | awk '{ print $NF }')"
same "the names that are called and read through dynamic symbols" \
  "$(sed -n 's/^  \([A-Za-z].*\);$/\1/p' "$here/../../src/replaceable.list")" \
  "$(read_elf -r | awk 'NF == 7 && $4 ~ /[^0]/ { print $5 }')"
exit $status
