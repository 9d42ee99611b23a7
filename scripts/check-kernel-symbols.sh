#!/bin/sh
# Fails when an object of a wide kernel pass defines code outside its own
# namespace (qgdi::k_<pass>). Such a function, an inline one from a shared
# header say, could be the copy the linker keeps for the whole library, and
# processors without the wide instructions would then fault in it. Data
# (constant tables, identical in every pass) is allowed.
#
#   check-kernel-symbols.sh NM PASS OBJECT...
set -u
nm=$1 pass=$2
shift 2
failed=0
for obj in "$@"; do
    # Global or weak code: T, W, i. Mangled names carry the namespace as "k_<pass>".
    bad=$("$nm" --defined-only "$obj" | awk '$2 ~ /^[TWi]$/ {print $3}' | grep -v "k_$pass" || true)
    if [ -n "$bad" ]; then
        echo "$obj defines code outside qgdi::k_$pass:"
        printf '%s\n' "$bad" | sed 's/^/  /'
        failed=1
    fi
done
[ "$failed" -eq 0 ] && echo "$# objects of the $pass pass keep their code in qgdi::k_$pass"
exit $failed
