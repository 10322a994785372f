#!/usr/bin/env bash
# Rejects an include that runs against the direction of the rooms:
#   App → Views → Lumicrate → Platform → Support,  App → Linux → Platform → Support
# and a library in the core, which is standard C++ only.
set -u
cd "$1/Sources" || exit 1
broken=0

# reject ROOM PATTERN…: no file of the room includes anything that matches.
reject() {
  local room=$1 pattern=$2 found
  found=$(grep -rnE --include='*.h' --include='*.cpp' "^ *# *include *[\"<]($pattern)" "$room" 2>/dev/null)
  if [ -n "$found" ]; then
    echo "$room must not include this:"
    echo "$found"
    broken=1
  fi
}

libraries='Q[A-Z][A-Za-z]*>|xcb/|X11/|lib(av|sw|yuv)|x264|x265|pipewire|spa/|mpv/|fmt/'
system='sys/|unistd\.h|fcntl\.h|pthread\.h|poll\.h|dlfcn\.h|linux/'
reject Support "Platform/|Lumicrate/|Linux/|Views/|App/|$libraries|$system|nlohmann"
reject Platform "Lumicrate/|Linux/|Views/|App/|$libraries|$system|nlohmann"
reject Lumicrate "Linux/|Views/|App/|$libraries|$system"
reject Linux 'Lumicrate/|Views/|App/'
[ -d Views ] && reject Views 'Linux/|App/'

# No technology knows another, but those that deliver pictures use Pictures; Capture combines several of them.
for folder in Linux/*/; do
  own=$(basename "$folder")
  for other in Linux/*/; do
    case "$own/$(basename "$other")" in
      "$own/$own" | X11/Pictures | PipeWire/Pictures | Capture/Pictures | Capture/X11 | Capture/PipeWire | Capture/Media | Capture/Portal | Capture/Wayland) continue ;;
    esac
    reject "Linux/$own" "Linux/$(basename "$other")/"
  done
done

[ $broken -eq 0 ] && echo "1 passed, 0 failed"
exit $broken
