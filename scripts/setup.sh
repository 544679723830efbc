#!/usr/bin/env bash
# Installs what building, testing, benchmarking and fuzzing xo need (Debian 12, as root).
set -euo pipefail
pkgs=(build-essential cmake ninja-build pkg-config git libicu-dev libpcre2-dev libxslt1-dev
      libgtest-dev libgmock-dev libbenchmark-dev clang libclang-rt-14-dev
      libexpat1-dev libxml2-dev libpugixml-dev tzdata locales
      rapidjson-dev nlohmann-json3-dev libsimdjson-dev libjsoncpp-dev
      libtinyxml2-dev librapidxml-dev)
missing=()
for p in "${pkgs[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  SUDO=""; [ "$(id -u)" -eq 0 ] || SUDO="sudo"
  $SUDO apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi
