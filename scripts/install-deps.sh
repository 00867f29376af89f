#!/usr/bin/env bash
# Installs the Debian packages the project builds, tests and runs with.
# Safe to run again: packages already present are not fetched.
set -euo pipefail

packages=(
  cmake g++ ninja-build pkg-config
  libgtest-dev libgmock-dev libbenchmark-dev
  libtinyxml-dev zlib1g-dev
  unixodbc unixodbc-dev libsqliteodbc odbc-postgresql postgresql
  libcurl4-openssl-dev python3-pyftpdlib python3
  libasio-dev gnuplot-nox
)

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  echo "Installing: ${missing[*]}"
  export DEBIAN_FRONTEND=noninteractive
  apt-get update -qq
  apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi
