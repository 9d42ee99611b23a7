#!/usr/bin/env bash
# Builds the library and the qgdi tool and runs its main job: with no
# arguments, on the built-in sample image.
set -euo pipefail
cd "$(dirname "$0")/.."
./scripts/install-deps.sh
cmake -S . -B build-release -DCMAKE_BUILD_TYPE=Release -DQGDI_BUILD_TESTS=OFF -DQGDI_BUILD_BENCH=OFF > /dev/null
cmake --build build-release -j"$(nproc)" --target qgdi_tool
if [ $# -eq 0 ]; then
  set -- demo out
fi
./build-release/tools/qgdi "$@"
