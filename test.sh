#!/usr/bin/env bash
# Builds everything and runs every test through CTest.
source "$(dirname "$0")/scripts/common.sh"
ensure_packages
build "$ROOT/build" RelWithDebInfo -DGV_BUILD_TESTS=ON
cd "$ROOT/build"
ctest --output-on-failure -j "$(nproc)" "$@"
