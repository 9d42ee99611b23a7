#!/bin/sh
# Fails when a loop marked "// @vectorised" in a kernel source was not
# vectorised by some compilation pass, according to GCC's reports
# (-fopt-info-vec-optimized, one file per object). A marker may name the passes
# it holds for, "// @vectorised(avx2, avx512)"; without a list it holds for all.
#
#   check-vectorised.sh SOURCE_DIR REPORT_DIR "PASS..." FILE...
#
# FILE is relative to SOURCE_DIR; REPORT_DIR/<pass>/*.txt are the reports.
set -u
src=$1 reports=$2 passes=$3
shift 3
marks=$(mktemp) && trap 'rm -f "$marks"' EXIT
failed=0 checked=0
for f in "$@"; do
    grep -n '// @vectorised' "$src/$f" >"$marks" || continue
    while IFS=: read -r line text; do
        wanted=$(printf '%s\n' "$text" | sed -n 's/.*@vectorised(\([^)]*\)).*/\1/p' | tr ',' ' ')
        [ -n "$wanted" ] || wanted=$passes
        for p in $wanted; do
            # A pass this build does not make has nothing to check.
            case " $passes " in *" $p "*) ;; *) continue ;; esac
            checked=$((checked + 1))
            if ! cat "$reports/$p"/*.txt 2>/dev/null | grep -q "/$f:$line:[0-9]*: optimized: *loop vectorized"; then
                echo "$f:$line: not vectorised in the $p pass:$text"
                failed=1
            fi
        done
    done <"$marks"
done
if [ "$checked" -eq 0 ]; then
    echo "no marked loops found: the markers or the reports are missing"
    exit 1
fi
[ "$failed" -eq 0 ] && echo "$checked marked loops vectorised in every pass they name"
exit $failed
