#!/bin/sh
# check_weight.sh LIBRARY BYTES: a stripped copy of the library is at most so large.
set -eu
copy=$(mktemp)
trap 'rm -f "$copy"' EXIT
strip -o "$copy" "$1"
bytes=$(wc -c <"$copy")
echo "$bytes bytes, at most $2"
[ "$bytes" -le "$2" ]
