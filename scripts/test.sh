#!/usr/bin/env bash
# Builds the project into DIR with BUILD_TYPE (and any further CMake options)
# and runs every test: scripts/test.sh [DIR] [BUILD_TYPE] [-DOPTION=...]
set -euo pipefail
cd "$(dirname "$0")/.."
./scripts/install-deps.sh
dir=${1:-build}
type=${2:-Release}
shift $(( $# > 2 ? 2 : $# ))
cmake -S . -B "$dir" -DCMAKE_BUILD_TYPE="$type" "$@" > /dev/null
cmake --build "$dir" -j"$(nproc)"
ctest --test-dir "$dir" --output-on-failure -j"$(nproc)"
