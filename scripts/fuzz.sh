#!/usr/bin/env bash
# Builds the fuzz targets of fuzz/ with clang and libFuzzer and runs each for a bounded
# time from its seed corpus. Prints per target
#   figure fuzz_<target>_execs <n>
#   figure fuzz_<target>_crashes <n>
# and exits 1 when any target found a crash (its input is in <build>/crashes/<target>/).
#   FUZZ_SECONDS=30      the time per target
#   FUZZ_SEED=1          libFuzzer's seed: a run repeats the inputs of the last one
#   FUZZ_TARGETS="a b"   only these targets (names without fuzz_)
#   FUZZ_SKIP="a b"      targets left out of a run of all (none by default)
#   FUZZ_BUILD=build-fuzz   the build folder
set -euo pipefail
cd "$(dirname "$0")/.."
root=$PWD

seconds=${FUZZ_SECONDS:-30}
seed=${FUZZ_SEED:-1}
build=$(realpath -m "${FUZZ_BUILD:-build-fuzz}")

if ! command -v clang++-14 >/dev/null || ! dpkg -s libclang-rt-14-dev >/dev/null 2>&1; then
  apt-get update -qq
  DEBIAN_FRONTEND=noninteractive apt-get install -y -qq clang-14 libclang-rt-14-dev >/dev/null
fi

launcher=()
if command -v ccache >/dev/null; then
  launcher=(-DCMAKE_C_COMPILER_LAUNCHER=ccache -DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
fi
CC=clang-14 CXX=clang++-14 cmake -S fuzz -B "$build" -G Ninja "${launcher[@]}" >/dev/null
cmake --build "$build" -j "$(nproc)"

all=$(cd fuzz/targets && ls ./*.cpp | sed 's|^\./||; s|\.cpp$||')
skip=${FUZZ_SKIP-}
for name in $skip; do
  all=$(printf '%s\n' $all | grep -v -x -F "$name" || true)
done
targets=${FUZZ_TARGETS:-$all}

found=0
for target in $targets; do
  work="$build/runs/$target"
  crashes="$build/crashes/$target"
  rm -rf "$work"
  mkdir -p "$work/corpus" "$crashes"
  before=$(find "$crashes" -type f | wc -l)
  set +e
  # New inputs go to the run's corpus in the build folder (the first folder); the
  # seeds in the repository are only read.
  (cd "$work" && "$build/fuzz_$target" -max_total_time="$seconds" -seed="$seed" -timeout=30 \
      -rss_limit_mb=2048 -print_final_stats=1 -artifact_prefix="$crashes/" \
      corpus "$root/fuzz/corpus/$target") >"$work/log" 2>&1
  rc=$?
  set -e
  execs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$work/log" | tail -1)
  new=$(( $(find "$crashes" -type f | wc -l) - before ))
  if [ "$rc" != 0 ] && [ "$new" = 0 ]; then
    new=1  # ended without leaving its input: count it, the log tells why
  fi
  echo "figure fuzz_${target}_execs ${execs:-0}"
  echo "figure fuzz_${target}_crashes $new"
  if [ "$new" != 0 ]; then
    echo "fuzz_$target: see $work/log and $crashes/" >&2
    grep -m1 -A20 "ERROR\|==ERROR\|deadly signal\|Test unit written" "$work/log" >&2 || tail -30 "$work/log" >&2
    found=$((found + new))
  fi
done
[ "$found" = 0 ]
