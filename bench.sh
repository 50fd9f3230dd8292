#!/usr/bin/env bash
# Builds in Release and runs every benchmark binary.
# --json DIR writes one Google Benchmark JSON file per binary into DIR.
source "$(dirname "$0")/scripts/common.sh"
json_dir=""
args=()
while [ $# -gt 0 ]; do
  case "$1" in
    --json) json_dir="$2"; shift 2 ;;
    *) args+=("$1"); shift ;;
  esac
done
# gerbv: the import benchmarks read its example boards.
ensure_packages gerbv
build "$ROOT/build-release" Release -DGV_BUILD_TESTS=OFF -DGV_BUILD_BENCH=ON
[ -n "$json_dir" ] && mkdir -p "$json_dir"
export QT_QPA_PLATFORM=offscreen
status=0
for b in "$ROOT"/build-release/bin/bench_*; do
  [ -x "$b" ] || continue
  name="$(basename "$b")"
  echo "== $name"
  if [ -n "$json_dir" ]; then
    "$b" --benchmark_out="$json_dir/$name.json" --benchmark_out_format=json "${args[@]+"${args[@]}"}" || status=1
  else
    "$b" "${args[@]+"${args[@]}"}" || status=1
  fi
done
exit $status
