#!/usr/bin/env bash
# Builds and starts the application: on the saved jobs given, else on the
# built-in demo board. Without a display, use --snapshot OUT.png [--size WxH].
# ./run.sh --help lists the options.
source "$(dirname "$0")/scripts/common.sh"
ensure_packages
# Only the application and what it loads (the view, the sibling plug-ins).
BUILD_TARGET=tolva_host build "$ROOT/build" RelWithDebInfo -DGV_BUILD_TESTS=ON
exec "$ROOT/build/bin/tolva_host" "$@"
