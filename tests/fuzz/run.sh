#!/usr/bin/env bash
# Runs the built libFuzzer harnesses, one after another, each for SECONDS over a
# scratch copy of its seed corpus (the repository's corpus is never written).
#   tests/fuzz/run.sh BUILD_DIR SECONDS [HARNESS...]
# Without names every fuzz_* executable of BUILD_DIR/tests/fuzz runs. Extra
# libFuzzer flags can be given in FUZZ_FLAGS (such as -runs=10000000).
# Any finding (crash, leak, sanitizer report, timeout, out-of-memory) makes the
# script exit 1 after the remaining harnesses have run; the input that caused it
# is kept under the scratch directory, whose path is printed.
set -uo pipefail
here="$(cd "$(dirname "$0")" && pwd)"
build="$1"; seconds="$2"; shift 2
names=("$@")
if [ ${#names[@]} -eq 0 ]; then
  for exe in "$build"/tests/fuzz/fuzz_*; do [ -x "$exe" ] && names+=("${exe##*/fuzz_}"); done
fi
[ ${#names[@]} -gt 0 ] || { echo "fuzz: no harness built in $build/tests/fuzz" >&2; exit 1; }

scratch="$(mktemp -d "${TMPDIR:-/tmp}/zemu-fuzz-run-XXXXXX")"
failed=()
for name in "${names[@]}"; do
  exe="$build/tests/fuzz/fuzz_$name"
  corpus="$scratch/corpus-$name"
  mkdir -p "$corpus" "$scratch/artifacts"
  [ -d "$here/corpus/$name" ] && cp -r "$here/corpus/$name/." "$corpus/"
  dict=()
  [ -f "$here/$name.dict" ] && dict=("-dict=$here/$name.dict")
  echo "fuzz: $name for ${seconds}s"
  # stderr of the program (its one-line error messages) is closed: libFuzzer's
  # own report and the sanitizers' reports still reach the log.
  "$exe" "${dict[@]}" -max_total_time="$seconds" -timeout=60 -close_fd_mask=2 -print_final_stats=1 \
    -artifact_prefix="$scratch/artifacts/$name-" ${FUZZ_FLAGS:-} "$corpus" > "$scratch/$name.log" 2>&1
  status=$?
  grep -E '^#[0-9]+[[:space:]]+DONE|^stat::number_of_executed_units|^stat::peak_rss_mb' "$scratch/$name.log" | sed "s/^/fuzz: $name: /"
  if [ $status -ne 0 ]; then
    failed+=("$name")
    echo "fuzz: $name FOUND A FAULT (exit $status); log and input in $scratch" >&2
    tail -n 60 "$scratch/$name.log" >&2
  fi
done
if [ ${#failed[@]} -gt 0 ]; then
  echo "fuzz: findings in ${failed[*]}" >&2
  exit 1
fi
rm -rf "$scratch"
echo "fuzz: ${#names[@]} harnesses, no finding"
