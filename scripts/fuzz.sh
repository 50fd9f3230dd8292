#!/usr/bin/env bash
# Fuzzes the fabrication-file import (tests/fuzz/fuzz_import.cpp) with
# libFuzzer under AddressSanitizer and UndefinedBehaviorSanitizer.
#
#   scripts/fuzz.sh [SECONDS]     (default 60; FUZZ_SECONDS works too)
#
# First every file in tests/fuzz/regressions is run once: those are inputs
# that once crashed or hung the readers and must not again. Then the target
# fuzzes for SECONDS from tests/fuzz/corpus (plus gerbv's small example boards
# when gerbv is installed) in a scratch corpus under build-fuzz, which is kept
# between runs. Exits non-zero on any finding and prints where its input is.
source "$(dirname "$0")/common.sh"
# libclang-rt-dev: the default clang's compiler-rt, which holds libFuzzer.
ensure_packages clang libclang-rt-dev

SECONDS_TO_FUZZ="${1:-${FUZZ_SECONDS:-60}}"
DIR="$ROOT/build-fuzz"
FUZZ="$ROOT/tests/fuzz"

CC=clang CXX=clang++ BUILD_TARGET=fuzz_import \
  build "$DIR" RelWithDebInfo -DGV_KERNEL_ONLY=ON -DGV_BUILD_TESTS=OFF -DGV_BUILD_FUZZ=ON
BIN="$DIR/bin/fuzz_import"

export ASAN_OPTIONS="${ASAN_OPTIONS:-detect_leaks=1}"
export UBSAN_OPTIONS="${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}"
LIMITS=(-timeout=10 -rss_limit_mb=2048 -max_len=65536)
# FUZZ_SEED fixes libFuzzer's random seed so that a run can be repeated on
# another machine from the same corpus; unset or 0, every run explores anew.
SEED="${FUZZ_SEED:-0}"

# brief LOG: the verdict of libFuzzer or the sanitizer and the innermost
# frames in the project's own code (the whole report stays in LOG).
brief() {
  grep -E 'runtime error|ERROR: |SUMMARY: |terminate called|what\(\):|fuzz_import: ' "$1" | head -n 6
  grep -E '^ +#[0-9]+ .* in .*(TOLVA|LLVMFuzzerTestOneInput)' "$1" | head -n 10 | cut -c1-220
  echo "  (whole report: $1)"
}

status=0
regressions=()
[ -d "$FUZZ/regressions" ] &&
  mapfile -t regressions < <(find "$FUZZ/regressions" -type f ! -name '.*' ! -name '*.md' | sort)
if [ ${#regressions[@]} -gt 0 ]; then
  echo "== fuzz_import: ${#regressions[@]} regression inputs" >&2
  failed=0
  mkdir -p "$DIR/regressions"
  for f in "${regressions[@]}"; do
    # One process per input: a crash names its file, and the others still run.
    log="$DIR/regressions/$(basename "$f").log"
    if ! "$BIN" "${LIMITS[@]}" "$f" >"$log" 2>&1; then
      echo "FAILED: $f" >&2
      brief "$log" >&2
      failed=$((failed + 1))
    fi
  done
  echo "fuzz_import regressions: $failed of ${#regressions[@]} inputs failed" >&2
  [ "$failed" -eq 0 ] || status=1
fi

CORPUS="$DIR/corpus"
FINDINGS="$DIR/findings"
mkdir -p "$CORPUS" "$FINDINGS"
# seed SRC NAME: copies SRC into the scratch corpus unless it is there already.
seed() { [ -e "$CORPUS/$2" ] || cp "$1" "$CORPUS/$2"; }
for f in "$FUZZ"/corpus/*; do seed "$f" "$(basename "$f")"; done
# gerbv's small example boards, when gerbv is installed, as extra seeds; they
# stay in the scratch corpus and are not part of the sources.
if [ -d /usr/share/doc/gerbv/examples ]; then
  while IFS= read -r f; do
    seed "$f" "gerbv_$(basename "$(dirname "$f")")_$(basename "$f")"
  done < <(find /usr/share/doc/gerbv/examples -type f -size -8k ! -iname 'readme*' \
             ! -name '*.txt' ! -name '*.pdf' ! -name '*.ps' ! -name '*.gz' ! -name '*.xy')
fi

echo "== fuzz_import: fuzzing for ${SECONDS_TO_FUZZ}s (corpus $CORPUS)" >&2
# libFuzzer exits non-zero on a crash, a sanitizer report, a leak, a timeout
# or running out of memory, and writes the input to the findings directory.
if ! (cd "$FINDINGS" && "$BIN" "${LIMITS[@]}" -seed="$SEED" -max_total_time="$SECONDS_TO_FUZZ" \
        -dict="$FUZZ/import.dict" -artifact_prefix="$FINDINGS/" -print_final_stats=1 \
        "$CORPUS" >"$DIR/fuzz.log" 2>&1); then
  brief "$DIR/fuzz.log" >&2
  echo "fuzz_import found a fault; its input:" >&2
  grep -E 'Test unit written to' "$DIR/fuzz.log" | sed 's/^.*Test unit written to /  /' >&2
  echo "Replay it with: $BIN FILE; keep it as a regression input in tests/fuzz/regressions/," \
       "named by what it triggers." >&2
  status=1
else
  grep -E '^(stat::number_of_executed_units|stat::peak_rss_mb)|DONE' "$DIR/fuzz.log" >&2 || true
fi
exit "$status"
