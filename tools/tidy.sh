#!/usr/bin/env bash
# clang-tidy over the rooms without windows; results are kept by content, so only changed files are looked at again.
set -u
cd "$(dirname "$(readlink -f "$0")")/.."
cache=build/tidy
mkdir -p "$cache"
cmake -S . -B build-tidy -G Ninja -DCMAKE_BUILD_TYPE=Debug -DTONALITH_UNITY=OFF -DTONALITH_GUI=OFF -DTONALITH_TESTS=OFF >/dev/null || exit 1
headers=$(cat $(git ls-files '*.h' .clang-tidy) | sha256sum | cut -c1-16)
export cache headers
check() {
  key=$(sha256sum "$1" | cut -c1-32)-$headers
  [ -f "$cache/$key" ] && return 0
  if output=$(clang-tidy -quiet -p build-tidy "$1" 2>/dev/null); then touch "$cache/$key"; else echo "$output"; return 1; fi
}
export -f check
git ls-files 'platform/*.cpp' 'data/*.cpp' 'midi/*.cpp' 'script/*.cpp' 'services/*.cpp' 'document/*.cpp' 'studio/*.cpp' 'simulator/*.cpp' |
  grep -v '/ui/' | xargs -P "$(nproc)" -I{} bash -c 'check {}'
