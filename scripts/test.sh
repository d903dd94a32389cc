#!/usr/bin/env bash
# Installs the dependencies, then builds and runs the suite three times:
# the whole suite in a normal build (warnings are errors) and under
# AddressSanitizer + UndefinedBehaviorSanitizer, then the tests that cross
# threads and processes (messaging, RPC clients, the OM road, end to end)
# under ThreadSanitizer. Each phase prints how long it took.
set -euo pipefail
cd "$(dirname "$0")/.."

./scripts/install-deps.sh

jobs=$(nproc)
export ASAN_OPTIONS=${ASAN_OPTIONS:-detect_leaks=1:abort_on_error=1}
export UBSAN_OPTIONS=${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}
started=${SECONDS}

phase_done() {
  echo "=== $1 took $(( (SECONDS - $2) / 60 )) min $(( (SECONDS - $2) % 60 )) s"
}

run_suite() {
  local dir=$1; shift
  local t0=${SECONDS}
  echo "=== configure ${dir} $*"
  cmake -S . -B "${dir}" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DTVN_WERROR=ON "$@"
  echo "=== build ${dir}"
  cmake --build "${dir}" -j "${jobs}"
  echo "=== test ${dir}"
  ctest --test-dir "${dir}" --output-on-failure -j "${jobs}" --timeout 300
  phase_done "${dir}" "${t0}"
}

# ThreadSanitizer maps its shadow memory at fixed addresses; kernels with
# many bits of mmap randomisation make it die at start ("unexpected memory
# mapping"). Prints the command prefix that lets it run here: nothing, or
# setarch -R (no randomisation for that process tree). Lowering
# vm.mmap_rnd_bits is the last resort and needs root.
tsan_prefix() {
  local probe
  probe=$(mktemp -d)
  printf '#include <thread>\nint main() { std::thread t([] {}); t.join(); }\n' >"${probe}/p.cc"
  if ! c++ -fsanitize=thread -pthread "${probe}/p.cc" -o "${probe}/p" 2>"${probe}/err"; then
    cat "${probe}/err" >&2
    rm -rf "${probe}"
    return 1
  fi
  local rc=0
  if "${probe}/p" >/dev/null 2>&1; then
    :
  elif setarch "$(uname -m)" -R "${probe}/p" >/dev/null 2>&1; then
    echo "setarch $(uname -m) -R"
  elif sysctl -w vm.mmap_rnd_bits=28 >/dev/null 2>&1 && "${probe}/p" >/dev/null 2>&1; then
    :
  else
    rc=1
  fi
  rm -rf "${probe}"
  return ${rc}
}

run_tsan() {
  local dir=build-tsan t0=${SECONDS} prefix
  if ! prefix=$(tsan_prefix); then
    echo "=== ThreadSanitizer cannot run on this machine" >&2
    return 1
  fi
  echo "=== configure ${dir} (ThreadSanitizer${prefix:+, under ${prefix}})"
  cmake -S . -B "${dir}" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DTVN_WERROR=ON -DTVN_TSAN=ON -DTVN_BUILD_BENCH=OFF
  # Every process writes its reports into one folder, so a race in a
  # child (tvn_cm, tvn_sim) fails the run even when its test passes.
  local reports=${PWD}/${dir}/tsan-reports
  rm -rf "${reports}" && mkdir -p "${reports}"
  export TSAN_OPTIONS="halt_on_error=0 second_deadlock_stack=1 history_size=4 log_path=${reports}/tsan suppressions=${PWD}/scripts/tsan.supp"
  echo "=== build ${dir}"
  # The build runs the test programs to list their cases, so it needs the
  # prefix too.
  ${prefix} cmake --build "${dir}" -j "${jobs}" --target tvn_tsan_tests
  echo "=== test ${dir}"
  ${prefix} ctest --test-dir "${dir}" --output-on-failure -j "${jobs}" --timeout 600 -L tsan
  if compgen -G "${reports}/tsan*" >/dev/null; then
    echo "=== ThreadSanitizer reports:" >&2
    cat "${reports}"/tsan* >&2
    return 1
  fi
  phase_done "${dir}" "${t0}"
}

run_suite build
run_suite build-asan -DTVN_SANITIZE=ON -DTVN_BUILD_BENCH=OFF
run_tsan

if [ -x scripts/fuzz.sh ]; then
  echo "=== fuzz"
  t0=${SECONDS}
  ./scripts/fuzz.sh
  phase_done fuzz "${t0}"
fi
phase_done "the whole test command" "${started}"
echo "=== all tests passed"
