#!/usr/bin/env bash
# Builds everything and runs every test through CTest; then builds the kernel
# alone with AddressSanitizer and UndefinedBehaviorSanitizer and runs its
# tests again. Both runs happen even if the first fails; the exit status is
# non-zero if either failed. Extra arguments go to both ctest runs.
source "$(dirname "$0")/scripts/common.sh"
# gerbv: its example boards feed the import round trip and the picture
# comparison against a second reader.
ensure_packages gerbv

# run_tests DIR [ctest args...]
run_tests() {
  local dir="$1"; shift
  (cd "$dir" && ctest --output-on-failure -j "$(nproc)" "$@")
}

status=0
{ build "$ROOT/build" RelWithDebInfo -DGV_BUILD_TESTS=ON && run_tests "$ROOT/build" "$@"; } || status=1

# -O1 with line tables only: the cheapest build that still gives readable
# reports. Any undefined behaviour aborts the test that meets it.
export UBSAN_OPTIONS=print_stacktrace=1
echo "== kernel tests under AddressSanitizer and UndefinedBehaviorSanitizer" >&2
{ build "$ROOT/build-asan" Debug -DGV_KERNEL_ONLY=ON -DGV_SANITIZE=ON "-DCMAKE_CXX_FLAGS_DEBUG=-O1 -g1" &&
    run_tests "$ROOT/build-asan" "$@"; } || status=1
exit "$status"
