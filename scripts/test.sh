#!/usr/bin/env bash
# All tests: installs what is missing, builds, runs the suite, builds the whole tree
# once more in release mode, runs the suite again built with the address and
# undefined-behaviour sanitizers, and then the threaded tests (label "threads") built
# with ThreadSanitizer. In CI (CI=true) every fuzz target then runs for a while
# (scripts/fuzz.sh, FUZZ_SECONDS each).
#   ULSA_STRESS=1   also runs the slow stress tests (label "stress"), but not under TSan
#   ULSA_NO_RELEASE=1   skips the release build
#   ULSA_NO_SANITIZE=1   skips both sanitizer builds
#   ULSA_FUZZ=1 / 0   runs the fuzz targets outside CI too / not even in CI
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/install-deps.sh

exclude=(-LE stress)
[ "${ULSA_STRESS:-0}" = 1 ] && exclude=()

bash scripts/build.sh build
status=0
(cd build && ctest --output-on-failure -j "$(nproc)" "${exclude[@]}" \
  --output-junit "$PWD/ctest-results.xml") || status=$?
# The fault scenarios (label "faults") that passed in this run, of all of them.
(cd build && ctest -N -L faults --show-only=json-v1) | /usr/bin/python3 -c '
import json, sys, xml.etree.ElementTree as tree
faults = {test["name"] for test in json.load(sys.stdin)["tests"]}
cases = tree.parse(sys.argv[1]).getroot().iter("testcase")
passed = sum(1 for case in cases if case.get("name") in faults and case.get("status") == "run"
             and case.find("failure") is None)
print(f"figure fault_scenarios_passed {passed}")
print(f"figure fault_scenarios_total {len(faults)}")' build/ctest-results.xml
[ "$status" = 0 ] || exit "$status"

# Release (-O3) inlines deeper and so warns where the other builds do not; warnings
# are errors in every build type. Built only, every target with the benchmarks, in
# the folder that scripts/bench.sh uses, so that a later benchmark run starts warm.
if [ "${ULSA_NO_RELEASE:-0}" != 1 ]; then
  bash scripts/build.sh build-bench -DCMAKE_BUILD_TYPE=Release
fi

if [ "${ULSA_NO_SANITIZE:-0}" != 1 ]; then
  bash scripts/build.sh build-asan -DULSA_SANITIZE=address,undefined -DULSA_BENCH=OFF
  (cd build-asan && ctest --output-on-failure -j "$(nproc)" "${exclude[@]}")

  # ThreadSanitizer: only the programs of the threaded tests are built (the target
  # threads_tests) and only those tests run. A test that cannot run under it for a
  # reason outside this code (an uninstrumented library) carries the label no_tsan.
  ULSA_BUILD_TARGET=threads_tests \
    bash scripts/build.sh build-tsan -DULSA_SANITIZE=thread -DULSA_BENCH=OFF
  (cd build-tsan && TSAN_OPTIONS="halt_on_error=1 second_deadlock_stack=1" \
    ctest --output-on-failure -j "$(nproc)" -L threads -LE 'stress|no_tsan')
fi

if [ "${ULSA_FUZZ:-$([ "${CI:-}" = true ] && echo 1 || echo 0)}" = 1 ]; then
  bash scripts/fuzz.sh
fi
