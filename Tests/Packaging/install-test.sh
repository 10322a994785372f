#!/usr/bin/env bash
# Installs the program into a folder and judges what is there: the files, the desktop's conventions, and the program as
# launchers use it, on a private desktop.
#     install-test.sh BUILD-FOLDER lumicrate-stage APPLICATION-ID
set -euo pipefail

build=$1 stage=$2 id=$3
here=$(cd "$(dirname "$0")" && pwd)
folder=$(mktemp -d "${TMPDIR:-/tmp}/lumicrate-install-test.XXXXXX")
trap 'rm -rf "$folder"' EXIT
installed=$folder/usr

fail() {
  echo "$*" >&2
  exit 1
}

cmake --install "$build" --prefix "$installed" >/dev/null

echo "The files"
diff <(sed "s/@ID@/$id/" "$here/installed-files.txt" | LC_ALL=C sort) \
     <(cd "$installed" && find . -type f -printf '%P\n' | LC_ALL=C sort) || fail "Other files are installed."

echo "The conventions"
desktop-file-validate "$installed/share/applications/$id.desktop"
appstreamcli validate --no-net "$installed/share/metainfo/$id.metainfo.xml"
version=$("$installed/bin/lumicrate" --version)
grep -q "<release version=\"${version#lumicrate }\"" "$installed/share/metainfo/$id.metainfo.xml" ||
  fail "The metainfo has no release ${version#lumicrate }."
python3 -m json.tool "$here"/../../Packaging/flatpak/*.json >/dev/null
for size in 16 22 24 32 48 64 128 256 512; do
  picture=$installed/share/icons/hicolor/${size}x$size/apps/$id.png
  [ "$(ffprobe -v error -show_entries stream=width,height -of csv=p=0 "$picture")" = "$size,$size" ] ||
    fail "$picture has another size."
done

echo "The installed program"
mkdir "$folder/bin"
# Stands in for the file manager.
export OPENED_FOLDER=$folder/opened
printf '#!/bin/sh\nprintf %%s "$1" >"$OPENED_FOLDER"\n' >"$folder/bin/xdg-open"
chmod +x "$folder/bin/xdg-open"
export XDG_DATA_DIRS=$installed/share:/usr/local/share:/usr/share PATH=$folder/bin:$installed/bin:$PATH
# With a bus of its own, because the one of the private desktop does not know the folder.
"$stage" 800x600 dbus-run-session -- bash "$here/launch.sh" "$installed/share/applications/$id.desktop"
echo "1 passed, 0 failed"
