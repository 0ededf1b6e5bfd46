#!/usr/bin/env bash
# Installs what a fresh Debian machine lacks to build, test and run libZemCal.
# Safe to run again: packages already present are left alone.
set -euo pipefail

packages=(cmake ninja-build g++ pkg-config libgtest-dev libgmock-dev libbenchmark-dev
          libcli11-dev nlohmann-json3-dev librsvg2-bin clang libclang-rt-14-dev locales
          python3-dev pybind11-dev python3-numpy python3-pytest mono-mcs mono-runtime)

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done

sudo_cmd=()
[ "$(id -u)" -ne 0 ] && sudo_cmd=(sudo)

if [ ${#missing[@]} -gt 0 ]; then
  echo "Installing: ${missing[*]}"
  "${sudo_cmd[@]}" apt-get update -qq
  DEBIAN_FRONTEND=noninteractive "${sudo_cmd[@]}" apt-get install -y -qq "${missing[@]}"
fi

# The locale tests read and write files under a comma-decimal locale; they
# skip (with a message) where none is installed.
if ! locale -a 2>/dev/null | grep -qix 'de_DE\.utf-\?8'; then
  echo "Generating the de_DE.UTF-8 locale"
  "${sudo_cmd[@]}" localedef -i de_DE -f UTF-8 de_DE.UTF-8
fi
