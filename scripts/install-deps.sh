#!/usr/bin/env bash
# Installs the Debian 12 packages the project builds, tests and runs with.
set -euo pipefail

PACKAGES=(
  build-essential g++ cmake pkg-config git
  protobuf-compiler libprotobuf-dev
  libzmq3-dev cppzmq-dev
  libboost-dev libboost-thread-dev
  libfmt-dev nlohmann-json3-dev libsqlite3-dev libcap-dev libacl1-dev libssl-dev
  libgtest-dev libgmock-dev googletest libbenchmark-dev
  clang libclang-rt-14-dev
  python3
)

missing=()
for p in "${PACKAGES[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ ${#missing[@]} -eq 0 ]; then
  echo "install-deps: all packages present"
  exit 0
fi
if [ "$(id -u)" -ne 0 ]; then
  if command -v sudo >/dev/null 2>&1; then SUDO=sudo; else
    echo "install-deps: missing packages (${missing[*]}); run as root" >&2
    exit 1
  fi
else
  SUDO=
fi
echo "install-deps: installing ${missing[*]}"
$SUDO apt-get update
DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y --no-install-recommends "${missing[@]}"
