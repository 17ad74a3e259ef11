#!/usr/bin/env bash
# One entry point for a fresh Debian 12 machine:
#   ./run.sh demo   install what is missing, build, run the demo editor
#                   (with no display it renders offscreen and writes build/kstvector-demo.png)
#   ./run.sh test   install what is missing, build, run all tests
#   ./run.sh sanitize
#                   the whole suite under AddressSanitizer and UndefinedBehaviorSanitizer,
#                   then the threaded tests under ThreadSanitizer
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
  sanitize)
    shift
    kst_install_packages
    supp="$root/tests"
    asan_dir=${KST_ASAN_DIR:-$root/build-asan}
    tsan_dir=${KST_TSAN_DIR:-$root/build-tsan}
    kst_build_sanitized "$asan_dir" address,undefined
    QT_QPA_PLATFORM=offscreen \
      ASAN_OPTIONS=detect_leaks=1:fast_unwind_on_malloc=0:detect_stack_use_after_return=0 \
      LSAN_OPTIONS=suppressions=$supp/lsan.supp \
      UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1:suppressions=$supp/ubsan.supp \
      ctest --test-dir "$asan_dir" --output-on-failure -j "$(nproc)" -E install "$@"
    kst_build_sanitized "$tsan_dir" thread kst_threaded_tests
    QT_QPA_PLATFORM=offscreen \
      TSAN_OPTIONS=halt_on_error=1:ignore_noninstrumented_modules=1:second_deadlock_stack=1:suppressions=$supp/tsan.supp \
      ctest --test-dir "$tsan_dir" --output-on-failure -j "$(nproc)" -L threaded "$@"
    ;;
  *)
    echo "usage: $0 demo|test|sanitize" >&2
    exit 2
    ;;
esac
