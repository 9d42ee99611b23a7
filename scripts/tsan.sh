#!/usr/bin/env bash
# Builds the library and its tests with ThreadSanitizer (clang, LLVM's OpenMP
# runtime) and runs every test program with four OpenMP threads. libgomp is not
# instrumented, so a GCC build would report its barriers as races; LLVM's
# runtime loads its TSan annotation tool (archer) and tells TSan about them.
# Not part of CI: scripts/tsan.sh [BUILD_DIR] [gtest filter]
set -euo pipefail
here=$(cd "$(dirname "$0")/.." && pwd)
build=${1:-$here/build-tsan}
filter=${2:-*}
llvm=${LLVM_DIR:-/usr/lib/llvm-14}

CC=clang CXX=clang++ cmake -S "$here" -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DQGDI_TSAN=ON \
    -DQGDI_BUILD_BENCH=OFF -DQGDI_BUILD_TOOLS=OFF -DOpenMP_CXX_FLAGS=-fopenmp=libomp \
    -DOpenMP_C_FLAGS=-fopenmp=libomp > /dev/null
cmake --build "$build" -j2

export OMP_NUM_THREADS=${OMP_NUM_THREADS:-4}
export OMP_TOOL_LIBRARIES=$llvm/lib/libarcher.so
export LD_LIBRARY_PATH=$llvm/lib${LD_LIBRARY_PATH:+:$LD_LIBRARY_PATH}
export TSAN_OPTIONS="halt_on_error=0 second_deadlock_stack=1 ignore_noninstrumented_modules=1 external_symbolizer_path=$llvm/bin/llvm-symbolizer suppressions=$here/scripts/tsan.supp ${TSAN_OPTIONS:-}"

failed=()
for test in "$build"/tests/test_* "$build"/fuzz/replay_*; do
    [ -x "$test" ] || continue
    name=$(basename "$test")
    log=$build/$name.tsan.log
    args=(--gtest_brief=1 "--gtest_filter=$filter")
    case $name in replay_*) args=("$here/fuzz/seeds/${name#replay_}") ;; esac
    echo "== $name"
    status=0
    (cd "$build" && "$test" "${args[@]}") > "$log" 2>&1 || status=$?
    races=$(grep -c "^WARNING: ThreadSanitizer" "$log" || true)
    echo "   exit $status, $races ThreadSanitizer reports (log: $log)"
    [ "$status" -eq 0 ] && [ "$races" -eq 0 ] || failed+=("$name")
done
if [ ${#failed[@]} -gt 0 ]; then
    echo "failed: ${failed[*]}"
    exit 1
fi
echo "no races reported"
