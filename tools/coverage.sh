#!/bin/bash
# Line coverage of the library (src/ and include/) by the test suite, per file and in total.
#   tools/coverage.sh [build-dir]     (default build-cov; configured and built here)
set -euo pipefail
cd "$(dirname "$0")/.."
BUILD=${1:-build-cov}
cmake -S . -B "$BUILD" -DCMAKE_BUILD_TYPE=Debug -DZEMU_COVERAGE=ON >/dev/null
cmake --build "$BUILD" -j "$(nproc)" >/dev/null
find "$BUILD" -name '*.gcda' -delete
(cd "$BUILD" && ctest -j "$(nproc)" >/dev/null) || echo "warning: some tests failed" >&2
OBJ="$BUILD/CMakeFiles/zemu_core.dir/src"
ROOT=$(pwd)
# gcov -n prints "File '...'" then "Lines executed:P% of N" for every source an object touched;
# a header seen from several objects is counted once (its best-covered view).
for gcda in "$OBJ"/*.gcda; do
  gcov -n -o "$OBJ" "$gcda" 2>/dev/null
done | awk -v root="$ROOT/" '
  /^File / { f = $2; gsub(/\x27/, "", f); sub(root, "", f); next }
  /^Lines executed:/ && f != "" {
    if (f ~ /^(src|include)\//) {
      split($2, a, ":"); pct = a[2] + 0; n = $4 + 0; hit = int(pct * n / 100 + 0.5)
      if (!(f in total) || hit > done[f]) { total[f] = n; done[f] = hit }
    }
    f = ""
  }
  END {
    for (f in total) { T += total[f]; D += done[f];
      printf "%6.1f%% %5d/%-5d %s\n", (total[f] ? 100 * done[f] / total[f] : 100), done[f], total[f], f | "sort -n" }
    close("sort -n")
    printf "total %.1f%% (%d of %d lines)\n", 100 * D / T, D, T
  }'
