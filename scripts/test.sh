#!/usr/bin/env bash
# Builds xo and runs every test.
set -euo pipefail
cd "$(dirname "$0")/.."
cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=Release -DXO_BUILD_BENCH=ON >/dev/null
cmake --build build -j2
ctest --test-dir build --output-on-failure -j2 --timeout 600
