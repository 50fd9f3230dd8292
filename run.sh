#!/usr/bin/env bash
# Builds and starts the application on the built-in demo job.
# Without a display, use --snapshot OUT.png [--size WxH].
source "$(dirname "$0")/scripts/common.sh"
ensure_packages
build "$ROOT/build" RelWithDebInfo -DGV_BUILD_TESTS=ON
exec "$ROOT/build/bin/tolva_host" "$@"
