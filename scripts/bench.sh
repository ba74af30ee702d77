#!/bin/bash
# Builds and runs the benchmarks. Arguments go to the program, --benchmark_filter=... for instance.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
cmake --preset bench >/dev/null
cmake --build --preset bench --target kest_bench
exec build/bench/bench/kest_bench "$@"
