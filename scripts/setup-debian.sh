#!/usr/bin/env bash
# Installs what the build and the tests need on a Debian 12 machine, only
# where it is missing.
set -euo pipefail
bash "$(dirname "$0")/install-missing.sh" build-essential cmake pkg-config g++-multilib clang libclang-rt-14-dev \
  libgtest-dev libgmock-dev libbenchmark-dev libboost-regex-dev libbcg729-dev \
  libasound2-dev libspandsp-dev binutils tmux iproute2 doxygen python3
