#!/usr/bin/env bash
# Builds the libFuzzer targets with clang and runs each for N seconds (default 60).
set -euo pipefail
cd "$(dirname "$0")/.."
secs=${1:-60}
cmake -S . -B build-fuzz -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_CXX_COMPILER=clang++ \
  -DXO_BUILD_FUZZ=ON -DXO_BUILD_TESTS=OFF >/dev/null
cmake --build build-fuzz -j2
for f in build-fuzz/fuzz/fuzz_*; do
  [ -x "$f" ] || continue
  name=$(basename "$f")
  corpus="fuzz/corpus/${name#fuzz_}"
  mkdir -p "build-fuzz/corpus-$name"
  args=("build-fuzz/corpus-$name")
  [ -d "$corpus" ] && args+=("$corpus")
  echo "-- $name for ${secs}s"
  "$f" -max_total_time="$secs" -max_len=4096 -timeout=10 -rss_limit_mb=2048 "${args[@]}" 2>&1 | tail -n 3
done
