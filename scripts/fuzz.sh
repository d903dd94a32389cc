#!/usr/bin/env bash
# Builds the libFuzzer targets with clang (coverage and AddressSanitizer on
# every library they link) and runs each one for a bounded number of inputs.
# A crash, leak or failed check stops the script with a non-zero status and
# leaves the input under fuzz-artifacts/.
#
# Each target is one line of FUZZ_TARGETS: "<cmake target> [<seed folder>
# [<inputs>]]" (the seed folder is relative to the repository; the corpus
# itself is a fresh temporary folder each run; <inputs> overrides
# TVN_FUZZ_RUNS for that target). A target is defined in its owner's
# CMakeLists.txt under if(TVN_FUZZ); the option refuses any compiler but
# clang.
#
# TVN_FUZZ_RUNS (default 20000) bounds the inputs per target,
# TVN_FUZZ_BUILD (default build-fuzz) is the build folder.
set -euo pipefail
cd "$(dirname "$0")/.."

FUZZ_TARGETS=(
  # OM agent: message-object decoding, and the road of one command
  "tvn_msgobj_decode_fuzz platform/om_agent/fuzz/corpus"
  "tvn_om_road_fuzz platform/om_agent/fuzz/corpus"
  # Messaging: one request frame through the RPC server's road
  "tvn_msg_frame_fuzz src/mgmt/base/tvn_msg/fuzz/corpus 200000"
)

runs=${TVN_FUZZ_RUNS:-20000}
build=${TVN_FUZZ_BUILD:-build-fuzz}
cxx=$(command -v clang++-14 || command -v clang++)
cc=$(command -v clang-14 || command -v clang)
instrument="-fsanitize=fuzzer-no-link,address -fno-omit-frame-pointer -g"

echo "=== configure ${build} (clang, libFuzzer)"
cmake -S . -B "${build}" -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DCMAKE_C_COMPILER="${cc}" -DCMAKE_CXX_COMPILER="${cxx}" \
  -DCMAKE_C_FLAGS="${instrument}" -DCMAKE_CXX_FLAGS="${instrument}" \
  -DCMAKE_EXE_LINKER_FLAGS="-fsanitize=address" \
  -DTVN_FUZZ=ON -DTVN_BUILD_TESTS=OFF -DTVN_BUILD_BENCH=OFF >/dev/null

targets=()
for entry in "${FUZZ_TARGETS[@]}"; do
  read -r target _ <<<"${entry}"
  targets+=("${target}")
done
echo "=== build ${targets[*]}"
cmake --build "${build}" -j "$(nproc)" --target "${targets[@]}"

mkdir -p fuzz-artifacts
export ASAN_OPTIONS=${ASAN_OPTIONS:-detect_leaks=1:abort_on_error=1}
for entry in "${FUZZ_TARGETS[@]}"; do
  read -r target seeds target_runs <<<"${entry}"
  target_runs=${TVN_FUZZ_RUNS:-${target_runs:-${runs}}}
  corpus=$(mktemp -d)
  trap 'rm -rf "${corpus}"' EXIT
  echo "=== fuzz ${target} (${target_runs} inputs)"
  # shellcheck disable=SC2086
  "${build}/bin/${target}" -runs="${target_runs}" -max_total_time=45 -max_len=4096 -timeout=10 \
    -rss_limit_mb=2048 \
    -artifact_prefix="fuzz-artifacts/${target}-" -print_final_stats=1 \
    "${corpus}" ${seeds}
  rm -rf "${corpus}"
  trap - EXIT
done
echo "=== fuzz passed"
