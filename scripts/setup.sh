#!/usr/bin/env bash
# Installs the Debian packages the project needs (only the missing ones),
# then configures and builds it. Sourced by run.sh; safe to run on its own.
set -euo pipefail

KST_PACKAGES=(
  cmake g++ make pkg-config
  qtbase5-dev qtbase5-dev-tools
  libgdal-dev gdal-bin
  libeigen3-dev
  libgeographiclib-dev
  fonts-wqy-microhei
)

kst_missing_packages() {
  local p missing=()
  for p in "${KST_PACKAGES[@]}"; do
    if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed'; then
      missing+=("$p")
    fi
  done
  echo "${missing[@]:-}"
}

kst_install_packages() {
  local missing
  missing=$(kst_missing_packages)
  [ -z "$missing" ] && return 0
  local sudo=""
  [ "$(id -u)" -ne 0 ] && sudo="sudo"
  echo "Installing missing packages: $missing"
  $sudo apt-get update -qq
  # shellcheck disable=SC2086
  DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends $missing
}

kst_build() {
  local root build_dir build_type
  root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
  build_dir=${KST_BUILD_DIR:-$root/build}
  build_type=${KST_BUILD_TYPE:-RelWithDebInfo}
  cmake -S "$root" -B "$build_dir" -DCMAKE_BUILD_TYPE="$build_type" ${KST_CMAKE_ARGS:-}
  cmake --build "$build_dir" --parallel "$(nproc)"
}

# kst_build_sanitized DIR SANITIZERS [TARGET]
# Builds the project (benchmarks off) with the given -fsanitize= list into DIR,
# optimised lightly so that the instrumented suite still runs quickly.
kst_build_sanitized() {
  local root dir=$1 sanitizers=$2 target=${3:-all} flags
  root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
  flags="-fsanitize=$sanitizers -fno-omit-frame-pointer -fno-sanitize-recover=all"
  cmake -S "$root" -B "$dir" -DCMAKE_BUILD_TYPE=Sanitize -DKST_BUILD_BENCH=OFF \
    -DCMAKE_CXX_FLAGS_SANITIZE="-O1 -g $flags" \
    -DCMAKE_EXE_LINKER_FLAGS_SANITIZE="-fsanitize=$sanitizers" \
    -DCMAKE_SHARED_LINKER_FLAGS_SANITIZE="-fsanitize=$sanitizers"
  cmake --build "$dir" --parallel "$(nproc)" --target "$target"
}

if [ "${BASH_SOURCE[0]}" = "$0" ]; then
  kst_install_packages
  kst_build
fi
