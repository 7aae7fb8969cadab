#!/bin/sh
# Runs a command inside a private D-Bus session with an unlocked
# gnome-keyring in a throw-away home. An empty password leaves the login
# keyring uncreated (the keyring would then ask through a prompter that
# needs a display), so a fixed test password unlocks it.
set -e
home=$(mktemp -d)
trap 'rm -rf "$home"' EXIT
export HOME="$home"
unset XDG_DATA_HOME
printf 'kalvex-test' | gnome-keyring-daemon --unlock --components=secrets >/dev/null
"$@"
