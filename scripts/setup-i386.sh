#!/usr/bin/env bash
# Prepares the 32-bit x86 libraries for the i386 build and prints the sysroot
# to pass as IMGE_I386_SYSROOT (empty when the i386 packages were installed
# system-wide).
#
# First choice: Debian's i386 packages (dpkg --add-architecture i386). When
# the i386 package lists cannot be resolved (a mirror in the middle of a sync
# is the usual cause), the packages are fetched with `apt-get download` and
# unpacked into a private sysroot instead. Exit code 2 means neither worked.
set -uo pipefail
cd "$(dirname "$0")/.."
log() { echo "$@" >&2; }
SUDO=""
[ "$(id -u)" -ne 0 ] && command -v sudo >/dev/null && SUDO=sudo
export DEBIAN_FRONTEND=noninteractive

bash scripts/setup.sh g++-multilib >&2 || exit 2
dev=(libjpeg62-turbo-dev:i386 libpng-dev:i386 libhwy-dev:i386)
installed=1
for p in "${dev[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || installed=0
done
[ $installed -eq 1 ] && exit 0

if ! dpkg --print-foreign-architectures | grep -qx i386; then
  $SUDO dpkg --add-architecture i386
fi
$SUDO apt-get update -qq >&2 2>&1 || true
if $SUDO apt-get install -y -qq --no-install-recommends "${dev[@]}" >&2 2>&1; then
  exit 0
fi

log "i386 packages could not be installed; unpacking them into a private sysroot"
sysroot=${IMGE_I386_SYSROOT:-$PWD/build-i386-sysroot}
stamp=$sysroot/.complete
if [ ! -f "$stamp" ]; then
  rm -rf "$sysroot" && mkdir -p "$sysroot/debs"
  debs=(libjpeg62-turbo:i386 libjpeg62-turbo-dev:i386 libhwy1:i386 libhwy-dev:i386
        libpng16-16:i386 libpng-dev:i386 zlib1g:i386 zlib1g-dev:i386)
  chmod 777 "$sysroot/debs"
  if ! (cd "$sysroot/debs" && apt-get download "${debs[@]}" >&2 2>&1); then
    log "apt-get download of the i386 packages failed"
    exit 2
  fi
  for d in "$sysroot"/debs/*.deb; do dpkg -x "$d" "$sysroot" || exit 2; done
  # Absolute symlinks inside the packages point into the host; make them relative.
  for l in "$sysroot"/usr/lib/i386-linux-gnu/*.so; do
    t=$(readlink "$l")
    case "$t" in /*) ln -sf "$sysroot$t" "$l" ;; esac
  done
  touch "$stamp"
fi
echo "$sysroot"
