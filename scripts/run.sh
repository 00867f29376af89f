#!/usr/bin/env bash
# The main job: installs what is missing, builds, and runs a node for a while with
# the start-up traced, so that one sees the load module come up on its host.
#   ULSA_RUN_SECONDS   how long the node runs (default 8)
#   ULSA_TRACE         trace masks (default: start-up and main flow of every object)
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/install-deps.sh
bash scripts/build.sh build
state=.state/node
mkdir -p "$state"
export ULSA_TRACE="${ULSA_TRACE:-ulsa*=0-4+8,Ft_RESTART=13,ulSpectrumAnalyzerCtrlInit=0-16,OSA_PRI_IF=0-16,traceDefault=0-1+20-21}"
exec build/host/node/ulsa-node --seconds "${ULSA_RUN_SECONDS:-8}" --state "$state"
