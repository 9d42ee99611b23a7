#!/bin/sh
# Builds the libFuzzer targets with clang and runs each for a minute (or
# FUZZ_SECONDS), seeded from the BMP Suite and a few streamed images.
# Not part of CI: run by hand after changing a reader.
set -eu
here=$(cd "$(dirname "$0")/.." && pwd)
build=${FUZZ_BUILD:-$here/build-fuzz}
seconds=${FUZZ_SECONDS:-60}
testdata=${QGDI_TESTDATA:-$here/../shared/testdata}

CC=clang CXX=clang++ cmake -S "$here" -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DQGDI_BUILD_FUZZ=ON \
    -DQGDI_BUILD_TESTS=OFF -DQGDI_BUILD_BENCH=OFF -DQGDI_BUILD_TOOLS=OFF >/dev/null
cmake --build "$build" -j2 --target fuzz_bmp_dib fuzz_iterator_stream

corpus=$build/corpus
mkdir -p "$corpus/bmp" "$corpus/stream"
if [ -d "$testdata/bmpsuite" ]; then
    cp "$testdata"/bmpsuite/g/*.bmp "$testdata"/bmpsuite/q/*.bmp "$testdata"/bmpsuite/b/*.bmp "$corpus/bmp/" 2>/dev/null || true
fi
# Stream seeds: tiny images of several formats written by the iterator itself.
for seed in "$here"/fuzz/seeds/*.qrit; do
    [ -f "$seed" ] && cp "$seed" "$corpus/stream/"
done

export ASAN_OPTIONS=allocator_may_return_null=1:detect_leaks=1
for target in bmp_dib iterator_stream; do
    case $target in bmp_dib) dir=$corpus/bmp ;; *) dir=$corpus/stream ;; esac
    echo "== fuzz_$target for ${seconds}s"
    "$build/fuzz/fuzz_$target" -max_total_time="$seconds" -max_len=65536 -rss_limit_mb=2048 \
        -artifact_prefix="$build/crash-$target-" "$dir"
done
