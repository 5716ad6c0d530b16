#!/bin/sh
# The library exports the checked-in list and nothing else, and runs no code of its own at load.
# exports.sh LIBRARY LIST
set -eu
library=$1
list=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export LC_ALL=C

grep -v -e '^#' -e '^$' "$list" | sort >"$work/wanted"
nm -D --defined-only "$library" | awk '{print $3}' | sort >"$work/built"
diff -u "$work/wanted" "$work/built"

# The one entry is the compiler's own.
size=$(readelf -SW "$library" | awk '$2 == ".init_array" || $3 == ".init_array" {print $(NF - 5)}')
[ "$((0x$size))" -le 8 ] || { echo "$library runs code when it is loaded" >&2; exit 1; }
