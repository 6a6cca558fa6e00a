#!/usr/bin/env bash
# Installs what the build and the tests need on a Debian 12 machine, only
# where it is missing.
set -euo pipefail
packages=(build-essential cmake pkg-config g++-multilib clang libclang-rt-14-dev
          libgtest-dev libgmock-dev libbenchmark-dev libboost-regex-dev libbcg729-dev
          libasound2-dev libspandsp-dev binutils tmux iproute2 doxygen python3)
missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  echo "installing: ${missing[*]}"
  sudo_cmd=""
  [ "$(id -u)" -ne 0 ] && sudo_cmd="sudo"
  $sudo_cmd apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $sudo_cmd apt-get install -y -qq "${missing[@]}"
fi
