#!/usr/bin/env bash
# Installs the dependencies, then builds and runs the whole suite twice:
# a normal build and one under AddressSanitizer + UndefinedBehaviorSanitizer.
set -euo pipefail
cd "$(dirname "$0")/.."

./scripts/install-deps.sh

jobs=$(nproc)
export ASAN_OPTIONS=${ASAN_OPTIONS:-detect_leaks=1:abort_on_error=1}
export UBSAN_OPTIONS=${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}

run_suite() {
  local dir=$1; shift
  echo "=== configure ${dir} $*"
  cmake -S . -B "${dir}" -DCMAKE_BUILD_TYPE=RelWithDebInfo "$@"
  echo "=== build ${dir}"
  cmake --build "${dir}" -j "${jobs}"
  echo "=== test ${dir}"
  ctest --test-dir "${dir}" --output-on-failure -j "${jobs}" --timeout 300
}

run_suite build
run_suite build-asan -DTVN_SANITIZE=ON -DTVN_BUILD_BENCH=OFF

if [ -x scripts/fuzz.sh ]; then
  echo "=== fuzz"
  ./scripts/fuzz.sh
fi
echo "=== all tests passed"
