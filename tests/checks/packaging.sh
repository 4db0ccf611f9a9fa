#!/usr/bin/env bash
# The desktop file, the MIME types and the AppStream file are what the desktops accept.
set -eu
cd "$(dirname "$(readlink -f "$0")")/../../packaging"
for tool in desktop-file-validate appstreamcli update-mime-database; do
  command -v $tool >/dev/null || { echo "skipped: $tool is not installed"; exit 0; }
done
desktop-file-validate com.corvane.Tonalith.desktop
appstreamcli validate --no-net --pedantic com.corvane.Tonalith.metainfo.xml
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
mkdir -p "$folder/mime/packages"
cp com.corvane.Tonalith.xml "$folder/mime/packages/"
problems=$(XDG_DATA_DIRS="$folder" update-mime-database "$folder/mime" 2>&1)
[ -z "$problems" ] || { echo "$problems"; exit 1; }
grep -q 'application/x-tonalith-set' "$folder/mime/globs2"
