# Shared by run.sh, test.sh and bench.sh: install what is missing, configure, build.
set -euo pipefail
ROOT="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
PACKAGES=(build-essential cmake ninja-build pkg-config qtbase5-dev libgoogle-glog-dev
          libboost-dev libgtest-dev libgmock-dev libbenchmark-dev libzip-dev libpng-dev libtiff-dev xvfb xauth)

# ensure_packages [extra packages...]: the common list plus the caller's own.
ensure_packages() {
  local missing=()
  for p in "${PACKAGES[@]}" "$@"; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
  done
  [ ${#missing[@]} -eq 0 ] && return 0
  echo "Installing: ${missing[*]}" >&2
  local sudo=""
  [ "$(id -u)" -ne 0 ] && sudo="sudo"
  $sudo apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
}

# build DIR BUILD_TYPE [extra cmake args...]; BUILD_TARGET limits what is built
build() {
  local dir="$1" type="$2"; shift 2
  cmake -S "$ROOT" -B "$dir" -G Ninja -DCMAKE_BUILD_TYPE="$type" "$@" >/dev/null
  cmake --build "$dir" -j "$(nproc)" ${BUILD_TARGET:+--target "$BUILD_TARGET"}
}
