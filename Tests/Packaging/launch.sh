#!/usr/bin/env bash
# Uses the installed program as launchers do, through its desktop entry and the session bus, and looks at what happens.
# Needs a display, and a session bus that has been started with the XDG_DATA_DIRS of the installation.
#     launch.sh DESKTOP-ENTRY
set -euo pipefail

entry=$1
id=$(basename "$entry" .desktop)
path=/${id//./\/}

fail() {
  echo "$*" >&2
  exit 1
}
# await DESCRIPTION COMMAND…: until the command succeeds.
await() {
  local what=$1 end=$((SECONDS + 60))
  shift
  until "$@"; do
    [ $SECONDS -lt $end ] || fail "Waited in vain: $what."
    sleep 0.1
  done
}
call() { gdbus call --session --dest "$id" --object-path "$path" --method "org.freedesktop.Application.$1" "${@:2}"; }
bus() { gdbus call --session --dest org.freedesktop.DBus --object-path / --method "org.freedesktop.DBus.$1" "$id"; }
runs() { [ "$(bus NameHasOwner)" = "(true,)" ]; }
has_ended() { ! runs; }
state_is() { lumicrate status --json 2>/dev/null | grep -Eq "\"state\": ?\"$1\""; }
has_recorded() { lumicrate status --json | grep -Eq '"elapsed": ?[1-9]'; }
# shows_window NAME: by their class panels find the entry.
shows_window() {
  local window
  for window in $(xdotool search --onlyvisible --classname "^$id\$" 2>/dev/null); do
    [[ "$(xdotool getwindowname "$window")" != $1 ]] || return 0
  done
  return 1
}

mkdir -p "$XDG_CONFIG_HOME/Lumicrate"
printf '[General]\n%s\n' welcomeShown=true countdown=false openPreview=false captureSystemAudio=false \
  >"$XDG_CONFIG_HOME/Lumicrate/lumicrate.conf"

has_ended || fail "The program runs already."
badges=$XDG_RUNTIME_DIR/badges
dbus-monitor "interface='com.canonical.Unity.LauncherEntry'" >"$badges" &
trap 'kill $(jobs -p) 2>/dev/null || true' EXIT
# badge PATTERN: whether the newest badge of the entry is like this.
badge() { tail -n 30 "$badges" | tr -d '\n' | grep -q ".*application://$id.desktop.*$1"; }
await "the badges are watched" test -s "$badges"
call ActivateAction record-screen '[]' '{}' >/dev/null
await "an action of the entry records" state_is recording
process=$(bus GetConnectionUnixProcessID | grep -o '[0-9]*,' | tr -d ,)
[ "$(readlink "/proc/$process/exe")" = "$(readlink -f "$(command -v lumicrate)")" ] || fail "Another program was started."
if call ActivateAction nonsense '[]' '{}' >/dev/null 2>&1; then fail "An unknown action is accepted."; fi
await "a second is recorded" has_recorded
await "the launcher shows it" badge 'count".*int64 1.*count-visible".*boolean true.*progress-visible".*boolean false'
lumicrate toggle
await "the recording is saved" state_is idle
await "the launcher shows it no longer" badge 'count-visible".*boolean false'
recording=$(lumicrate recordings --json | sed -n 's/.*"path": *"\([^"]*\)".*/\1/p')
[ -f "$recording" ] || fail "There is not one recording: $recording"
echo "The bus starts the program, whose action records $recording."

gio launch "$entry"
await "the entry shows the window" shows_window Lumicrate
gio launch "$entry" "$recording"
await "the entry opens a recording" shows_window "$(basename "${recording%.*}")*"
echo "The desktop entry shows the window, and opens the recording."
lumicrate quit
await "the program ends" has_ended

lumicrate --action record-sound &
await "an action without the bus shows the audio recorder" shows_window "Audio Recorder"
lumicrate quit
wait $!

if [ -n "${OPENED_FOLDER:-}" ]; then
  call ActivateAction open-recordings-folder '[]' '{}' >/dev/null
  await "an action opens the folder of the recordings" test -s "$OPENED_FOLDER"
  [ "$(cat "$OPENED_FOLDER")" = "$(dirname "$recording")" ] || fail "Another folder is opened: $(cat "$OPENED_FOLDER")"
  runs || fail "The program ends at once."
  await "the program ends, since nothing of it is visible" has_ended
  echo "An action opens the folder, and the program ends afterwards."
fi
