#!/usr/bin/env bash
# Builds the libFuzzer targets with clang and runs each one.
#   scripts/fuzz.sh SECONDS          explore: random seed, SECONDS per target
#   scripts/fuzz.sh --smoke [RUNS]   CI smoke run: a fixed seed and a fixed
#                                    number of runs per target (default 30000),
#                                    so that a run that passes here passes
#                                    everywhere; long exploration is done by
#                                    hand with the first form
set -euo pipefail
cd "$(dirname "$0")/.."
mode=explore
secs=60
runs=0
if [ "${1:-}" = "--smoke" ]; then
  mode=smoke
  runs=${2:-30000}
  secs=120
else
  secs=${1:-60}
fi
cmake -S . -B build-fuzz -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_CXX_COMPILER=clang++ \
  -DXO_BUILD_FUZZ=ON -DXO_BUILD_TESTS=OFF >/dev/null
cmake --build build-fuzz -j2
status=0
for f in build-fuzz/fuzz/fuzz_*; do
  [ -x "$f" ] || continue
  name=$(basename "$f")
  corpus="fuzz/corpus/${name#fuzz_}"
  args=()
  if [ "$mode" = smoke ]; then
    # Only the checked-in seeds: what earlier runs found stays out of it.
    work=$(mktemp -d)
    args=(-seed=1 -runs="$runs" "$work")
  else
    work="build-fuzz/corpus-$name"
    mkdir -p "$work"
    args=("$work")
  fi
  [ -d "$corpus" ] && args+=("$corpus")
  echo "-- $name ($mode)"
  if ! "$f" -max_total_time="$secs" -max_len=4096 -timeout=10 -rss_limit_mb=2048 \
      -artifact_prefix="build-fuzz/$name-" "${args[@]}" >"build-fuzz/$name.log" 2>&1; then
    status=1
    grep -v '^#[0-9]' "build-fuzz/$name.log" | tail -n 60
  else
    tail -n 1 "build-fuzz/$name.log"
  fi
  [ "$mode" = smoke ] && rm -rf "$work"
done
exit $status
