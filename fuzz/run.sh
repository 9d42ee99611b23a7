#!/bin/sh
# Builds the libFuzzer targets with clang and runs each for a minute (or
# FUZZ_SECONDS), seeded from fuzz/seeds/<target>/ and, when present, the BMP
# Suite's bitmaps and reference PNGs. Not part of CI: run by hand after
# changing a reader: fuzz/run.sh [target...]
set -eu
here=$(cd "$(dirname "$0")/.." && pwd)
build=${FUZZ_BUILD:-$here/build-fuzz}
seconds=${FUZZ_SECONDS:-60}
testdata=${QGDI_TESTDATA:-$here/../shared/testdata}
targets=${*:-bmp_dib iterator_stream length_text png_reader jpeg_reader path_data palette_text palette_riff}

CC=clang CXX=clang++ cmake -S "$here" -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DQGDI_BUILD_FUZZ=ON \
    -DQGDI_BUILD_TESTS=OFF -DQGDI_BUILD_BENCH=OFF -DQGDI_BUILD_TOOLS=OFF >/dev/null
for target in $targets; do
    cmake --build "$build" -j2 --target "fuzz_$target"
done

export ASAN_OPTIONS=allocator_may_return_null=1:detect_leaks=1
for target in $targets; do
    corpus=$build/corpus/$target
    mkdir -p "$corpus"
    cp "$here/fuzz/seeds/$target"/* "$corpus/" 2>/dev/null || true
    if [ -d "$testdata/bmpsuite" ]; then
        case $target in
        bmp_dib) cp "$testdata"/bmpsuite/g/*.bmp "$testdata"/bmpsuite/q/*.bmp "$testdata"/bmpsuite/b/*.bmp "$corpus/" 2>/dev/null || true ;;
        png_reader) cp "$testdata"/bmpsuite/html/*.png "$corpus/" 2>/dev/null || true ;;
        esac
    fi
    echo "== fuzz_$target for ${seconds}s"
    "$build/fuzz/fuzz_$target" -max_total_time="$seconds" -max_len=65536 -rss_limit_mb=2048 \
        -artifact_prefix="$build/crash-$target-" "$corpus"
done
