#!/usr/bin/env bash
# Installs the dependencies, builds, and runs a local node in the foreground:
# the sibling-daemon stand-ins (tvn_sim) and the service (tvn_cm), both under
# a local system root. Ctrl-C stops everything.
set -euo pipefail
cd "$(dirname "$0")/.."
top=$(pwd)

./scripts/install-deps.sh
cmake -S . -B build -DCMAKE_BUILD_TYPE=RelWithDebInfo
cmake --build build -j "$(nproc)"

export TVN_SYSROOT=${TVN_SYSROOT:-$top/node-root}
mkdir -p "$TVN_SYSROOT"
bin=$top/build/bin

pids=()
stop_all() {
  trap - INT TERM EXIT
  for p in "${pids[@]}"; do kill -TERM "$p" 2>/dev/null || true; done
  for p in "${pids[@]}"; do wait "$p" 2>/dev/null || true; done
  echo "node stopped"
}
trap stop_all INT TERM EXIT

if [ -x "$bin/tvn_sim" ]; then
  "$bin/tvn_sim" &
  pids+=($!)
else
  echo "tvn_sim (sibling-daemon stand-ins) is not built yet"
fi
if [ -x "$bin/tvn_cm" ]; then
  "$bin/tvn_cm" -l 1 -v 1 &
  pids+=($!)
else
  echo "tvn_cm (the service) is not built yet"
fi
if [ ${#pids[@]} -eq 0 ]; then
  echo "Nothing to run yet: the build above is all there is. See README.md."
  exit 0
fi

cat <<INFO
Local node running under TVN_SYSROOT=$TVN_SYSROOT
  service log:      $TVN_SYSROOT/var/log/platform/tvn_cm.log
  platform log:     $TVN_SYSROOT/var/log/platform/process_shell.log
  operation log:    $TVN_SYSROOT/var/log/platform/alarm.jsonl
Try, in another shell:
  $bin/tvn_om nfs share list
Ctrl-C stops the node.
INFO
wait -n "${pids[@]}" || true
