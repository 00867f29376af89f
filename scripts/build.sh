#!/usr/bin/env bash
# Configures and builds one build folder: scripts/build.sh <folder> [cmake options...]
#   ULSA_BUILD_TARGET=<target>   builds that target only (e.g. threads_tests), not all
set -euo pipefail
cd "$(dirname "$0")/.."
dir=${1:-build}; shift || true
cmake -S . -B "$dir" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo "$@" >/dev/null
cmake --build "$dir" -j "$(nproc)" ${ULSA_BUILD_TARGET:+--target "$ULSA_BUILD_TARGET"}
