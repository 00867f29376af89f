#!/usr/bin/env bash
# All benchmarks: builds in release mode and runs every program in bench/.
# Each prints its goal figures as lines "figure <name> <value>".
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/install-deps.sh
cmake -S . -B build-bench -G Ninja -DCMAKE_BUILD_TYPE=Release >/dev/null
cmake --build build-bench -j "$(nproc)"
for b in build-bench/bench/*_bench; do
  [ -x "$b" ] || continue
  echo "== $(basename "$b")"
  "$b"
done
