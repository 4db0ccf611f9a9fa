#!/usr/bin/env bash
# Installs what is missing of the Debian packages for a purpose: packages.sh build|test
# Quick when nothing is missing.  Uses sudo when not root and never asks.
set -u
build="g++ cmake ninja-build pkg-config ccache lld python3 qt6-base-dev libjack-jackd2-dev libasound2-dev zlib1g-dev
       libcurl4-openssl-dev libssl-dev libsqlite3-dev libxxhash-dev libgl-dev fonts-dejavu-core"
tests="libgtest-dev libgmock-dev libbenchmark-dev binutils clang clang-format clang-tidy libclang-rt-14-dev
       python3-pyftpdlib libxml2-dev openssl xvfb xauth xdotool openbox imagemagick x11-utils jackd2 pipewire pipewire-jack wireplumber dbus procps desktop-file-utils appstream shared-mime-info
       timidity timgm6mb-soundfont hexter dssi-dev liblua5.4-dev"
vm="qemu-system-x86 busybox-static cpio kmod"
case "${1:-build}" in
  build) wanted=$build ;;
  test) wanted="$build $tests" ;;
  vm) wanted=$vm ;;
  *) echo "packages.sh: build, test or vm" >&2; exit 2 ;;
esac
missing=
for package in $wanted; do
  [ "$(dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null)" = installed ] || missing="$missing $package"
done
[ -z "$missing" ] && exit 0
echo "Installing:$missing"
as_root=
[ "$(id -u)" -eq 0 ] || as_root="sudo -n"
export DEBIAN_FRONTEND=noninteractive
log=$(mktemp)
# The first update may find the package lists locked by a machine that has just started; try again for a while.
for try in 1 2 3 4 5 6; do
  if $as_root apt-get update -qq >"$log" 2>&1 &&
     $as_root env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends $missing >"$log" 2>&1; then
    rm -f "$log"
    exit 0
  fi
  sleep 10
done
tail -20 "$log" >&2
rm -f "$log"
echo "The packages could not be installed:$missing" >&2
exit 1
