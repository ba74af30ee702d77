#!/bin/bash
# Builds the benchmarks, runs them all and writes the report. Arguments go to scripts/bench.py.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
cmake --preset bench >/dev/null
cmake --build --preset bench --target kest_bench kest_counts kest_trees kest_trees_untraced kest_load kest_load_kest kest_load_empty
exec scripts/bench.py "$@"
