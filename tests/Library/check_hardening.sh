#!/bin/sh
# check_hardening.sh FILE...: what a release build promises of each program and library: addresses drawn at each start,
# nothing executable on the stack, relocations read-only, and checked copies and stack frames.
set -u
failed=0
for file in "$@"; do
    holds() {
        what=$1
        shift
        "$@" || { echo "$file: $what"; failed=1; }
    }
    header=$(readelf -Wlhd "$file")
    symbols=$(nm -D --undefined-only "$file")
    has() { printf '%s\n' "$header" | grep -qE "$1"; }
    uses() { printf '%s\n' "$symbols" | grep -qE "$1"; }
    holds "not position-independent" has 'Type: +DYN'
    holds "relocations stay writable" has 'GNU_RELRO'
    holds "symbols are bound late" has 'BIND_NOW|FLAGS_1.*NOW'
    holds "an executable stack" has 'GNU_STACK.* RW '
    holds "no stack protector" uses '__stack_chk_fail'
    holds "no fortified functions" uses '__(memcpy|memmove|memset|strncpy|snprintf|fprintf|vsnprintf|read|printf)_chk'
done
exit "$failed"
