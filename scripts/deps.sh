#!/usr/bin/env bash
# Installs the build and test dependencies on a Debian machine when missing.
set -euo pipefail
pkgs=(g++ cmake ninja-build libgtest-dev libgmock-dev libbenchmark-dev libabsl-dev
      librapidcheck-dev libspdlog-dev python3 clang clang-format)
missing=()
for p in "${pkgs[@]}"; do
  dpkg -s "$p" >/dev/null 2>&1 || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  SUDO=""
  [ "$(id -u)" -eq 0 ] || SUDO=sudo
  $SUDO apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -qq "${missing[@]}"
fi
