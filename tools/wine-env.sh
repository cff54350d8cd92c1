#!/usr/bin/env bash
# A 32-bit Wine of its own in build/wine, for any 64-bit Debian.
#
# tools/wine-env.sh setup  Fetches Wine and what it needs with the machine's own apt settings, unpacks it into
#                          build/wine/root and makes a Wine prefix there. Does nothing when that is complete; what an
#                          interrupted run left is made again.
# tools/wine-env.sh run PROGRAM.exe [ARGUMENT...]
#                          Runs a program, after a setup where needed. Its drive Z: is the machine's own tree, its
#                          current folder the caller's; environment, output and exit code (the low 8 bits) pass through.
#                          Any number may run at once.
# tools/wine-env.sh stop   Ends Wine's server and what still runs under it. Left alone, the server ends a minute after
#                          the last program.
#
# Nothing is installed: no foreign architecture is needed, and no version of an installed package matters.
set -euo pipefail

self=$(realpath "${BASH_SOURCE[0]}")
wine=$(dirname "$(dirname "$self")")/build/wine
root=$wine/root
stamp=$wine/complete-$(cksum <"$self" | tr ' ' -)

fail() {
  echo "wine-env.sh: $*" >&2
  exit 1
}

# Becomes a program of the root, which sees the machine's own tree at /host. The mount lives in a namespace that ends
# with the program: nothing is ever mounted where a removal of build/ could reach through it.
enter() {
  local user=()
  [ "$(id -u)" = 0 ] || user=(--map-root-user)
  exec env -u LD_PRELOAD -u LD_LIBRARY_PATH HOME=/prefix WINEPREFIX=/prefix WINEARCH=win32 \
    WINEDEBUG="${WINEDEBUG:--all}" WINEDLLOVERRIDES="mscoree,mshtml=" WINELOADER=/usr/lib/wine/wine \
    WINESERVER=/usr/lib/wine/wineserver32 unshare "${user[@]}" --mount \
    sh -c 'mount --rbind / "$0/host" && exec unshare --root="$0" --wd="/host$PWD" "$@"' "$root" "$@"
}

# Started apart from the programs, the server and the services hold no pipe of their callers open.
start() (
  exec </dev/null >/dev/null 2>&1
  flock 9
  if (enter /usr/lib/wine/wineserver32 -p60 9>&-); then (enter /usr/lib/wine/wine wineboot 9>&-) || true; fi
) 9>>"$root/tmp/start.lock"

stop() {
  [ ! -d "$root/prefix" ] || (enter /usr/lib/wine/wineserver32 -k) >/dev/null 2>&1 || true
}

unpack() {
  # An apt of its own, for i386 and with nothing installed, on the machine's sources, keys and proxies.
  local apt=(apt-get -qq -o APT::Architecture=i386 -o APT::Architectures::=i386 -o APT::Install-Recommends=false
    -o Dir::State="$wine/apt/state" -o Dir::State::status="$wine/apt/status" -o Dir::Cache="$wine/apt/cache"
    -o Dir::Log="$wine/apt" -o APT::Sandbox::User=root -o Acquire::Retries=3)
  mkdir -p "$wine"/apt/{state/lists,cache/archives}/partial "$root"/{host,tmp,prefix}
  touch "$wine/apt/status"
  # A source that is out of reach may not matter here: the download decides.
  "${apt[@]}" update || true
  # The shell and coreutils are for the maintainer script below.
  "${apt[@]}" -y --download-only install wine32 dash coreutils
  printf '%s\0' "$wine"/apt/cache/archives/*.deb | xargs -0 -n 1 -P "$(nproc)" sh -c 'dpkg-deb --fsys-tarfile "$1" |
    tar -x -C "$0" --no-same-owner --exclude="./usr/share/doc/*" --exclude="./usr/share/locale/*"' "$root"
  ln -s host/dev host/proc "$root"
  # Of all maintainer scripts, only this one makes something that Wine cannot do without, its zlib1.dll.
  dpkg-deb -e "$wine"/apt/cache/archives/libwine_*.deb "$wine/apt/libwine"
  cp "$wine/apt/libwine/postinst" "$root"
  (enter /bin/sh /postinst configure)
  rm -r "$wine/apt"
}

boot() {
  start
  # Message boxes without a display, and neither a dialog nor a debugger after a crash.
  cat >"$root/prefix/drive_c/settings.reg" <<'EOF'
REGEDIT4

[HKEY_CURRENT_USER\Software\Wine\Drivers]
"Graphics"="null"
[HKEY_CURRENT_USER\Software\Wine\WineDbg]
"ShowCrashDialog"=dword:00000000
[HKEY_LOCAL_MACHINE\Software\Microsoft\Windows NT\CurrentVersion\AeDebug]
"Debugger"="false"
EOF
  (enter /usr/lib/wine/wine reg import 'C:\settings.reg')
  ln -sfn /host "$root/prefix/dosdevices/z:"
  # The settings count from the next start of the server.
  (enter /usr/lib/wine/wineserver32 -k)
}

setup() {
  [ ! -e "$stamp" ] || return 0
  mkdir -p "$(dirname "$wine")"
  exec 9>"$wine.lock"
  flock 9
  if [ ! -e "$stamp" ]; then
    echo "Making a 32-bit Wine in $wine"
    trap 'tail -n 30 "$wine/log" >&2; fail "no 32-bit Wine, for the reason above"' EXIT
    stop 9>&-
    rm -rf "$wine"
    mkdir -p "$wine"
    (unpack; boot) </dev/null >"$wine/log" 2>&1 9>&-
    touch "$stamp"
    trap - EXIT
  fi
  exec 9>&-
}

case ${1:-} in
  setup) setup ;;
  run)
    [ $# -gt 1 ] || fail "run which program?"
    program=$(realpath "$2")
    shift 2
    setup >&2
    start
    enter /usr/lib/wine/wine "/host$program" "$@"
    ;;
  stop) stop ;;
  *) fail "one of: setup, run PROGRAM.exe [ARGUMENT...], stop" ;;
esac
