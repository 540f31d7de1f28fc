#!/bin/sh
# check_exports.sh LIBRARY: the shared library exports nothing outside Velmor, and its public headers compile alone.
set -eu
strays=$(nm -D --defined-only -C "$1" | cut -d' ' -f3- |
    grep -vE '^(non-virtual thunk to |typeinfo (name )?for |vtable for |VTT for )?Velmor::' || true)
if [ -n "$strays" ]; then
    echo "exported outside Velmor:"
    echo "$strays"
    exit 1
fi
entries=$(nm -D --defined-only -C "$1" | grep -c 'Velmor::initVelmorConfig(')  # two: with all it takes, and short
[ "$entries" = 2 ] || { echo "initVelmorConfig is not exported"; exit 1; }
