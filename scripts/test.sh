#!/usr/bin/env bash
# All tests: installs what is missing, builds, runs the suite, then runs it again
# built with the address and undefined-behaviour sanitizers.
#   ULSA_STRESS=1   also runs the slow stress tests (label "stress")
#   ULSA_NO_SANITIZE=1   skips the sanitizer build
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/install-deps.sh

exclude=(-LE stress)
[ "${ULSA_STRESS:-0}" = 1 ] && exclude=()

bash scripts/build.sh build
(cd build && ctest --output-on-failure -j "$(nproc)" "${exclude[@]}")

if [ "${ULSA_NO_SANITIZE:-0}" != 1 ]; then
  bash scripts/build.sh build-asan -DULSA_SANITIZE=address,undefined -DULSA_BENCH=OFF
  (cd build-asan && ctest --output-on-failure -j "$(nproc)" "${exclude[@]}")
fi
