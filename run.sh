#!/usr/bin/env bash
# One entry point for a fresh Debian 12 machine:
#   ./run.sh demo   install what is missing, build, run the demo editor
#                   (with no display it renders offscreen and writes build/kstvector-demo.png)
#   ./run.sh test   install what is missing, build, run all tests
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
# shellcheck source=scripts/setup.sh
source "$root/scripts/setup.sh"

build_dir=${KST_BUILD_DIR:-$root/build}
case "${1:-}" in
  demo)
    shift
    kst_install_packages
    kst_build
    if [ -z "${DISPLAY:-}${WAYLAND_DISPLAY:-}" ] && [ "$#" -eq 0 ]; then
      set -- --screenshot "$build_dir/kstvector-demo.png"
    fi
    exec "$build_dir/apps/demo/kstvector-demo" "$@"
    ;;
  test)
    shift
    kst_install_packages
    kst_build
    QT_QPA_PLATFORM=offscreen ctest --test-dir "$build_dir" --output-on-failure -j "$(nproc)" "$@"
    ;;
  *)
    echo "usage: $0 demo|test" >&2
    exit 2
    ;;
esac
