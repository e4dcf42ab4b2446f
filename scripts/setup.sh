#!/usr/bin/env bash
# Installs the Debian packages the build and the tests need (only the missing
# ones). Runs as root, or through sudo when available.
set -euo pipefail
packages=(cmake make g++ pkg-config libjpeg62-turbo-dev libhwy-dev libpng-dev
          libgtest-dev libbenchmark-dev libopencv-imgproc-dev libjpeg-turbo-progs
          libimage-exiftool-perl pybind11-dev python3-dev python3-numpy python3-pytest
          python3-dask python3-distributed python3-opencv python3-pil man-db)
packages+=("$@")
missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
[ ${#missing[@]} -eq 0 ] && exit 0
SUDO=""
[ "$(id -u)" -ne 0 ] && command -v sudo >/dev/null && SUDO=sudo
echo "installing: ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
$SUDO apt-get update -qq
$SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
