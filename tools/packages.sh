#!/usr/bin/env bash
# Installs those Debian packages of the named groups that are missing: tools/packages.sh build|test|example|bench|tool ...
# When none is, this asks dpkg only and needs neither root nor a network.
set -euo pipefail

fail() {
  echo "packages.sh: $*" >&2
  exit 1
}

declare -A groups=(
  [build]="cmake ninja-build g++"
  [test]="clang-14 libclang-rt-14-dev lld-14 llvm-14 g++-mingw-w64-i686-posix googletest libgtest-dev libfftw3-dev libspandsp-dev"
  [example]="pkg-config gnuplot-nox libsndfile1-dev libcairo2-dev libpng-dev alsa-utils guitarix-common libsixel-examples"
  [bench]="pkg-config libbenchmark-dev libfftw3-dev libvolk2-dev libeigen3-dev libsleef-dev libspandsp-dev libliquid-dev libopenblas-serial-dev libgsl-dev"
  [tool]="libmpfr-dev dieharder"
)

[ $# -gt 0 ] || fail "name some of the groups: ${!groups[*]}"
wanted=()
for name in "$@"; do
  [ -n "${groups[$name]:-}" ] || fail "no group \"$name\", there are: ${!groups[*]}"
  read -ra packages <<<"${groups[$name]}"
  wanted+=("${packages[@]}")
done

command -v apt-get >/dev/null || fail "not a Debian system, needed are: ${wanted[*]}"
installed=$(dpkg-query -W -f '${db:Status-Status} ${Package}\n' "${wanted[@]}" 2>/dev/null) || true
missing=()
for package in "${wanted[@]}"; do
  grep -qx "installed $package" <<<"$installed" || missing+=("$package")
done
[ ${#missing[@]} -gt 0 ] || exit 0

apt=(env DEBIAN_FRONTEND=noninteractive apt-get -qq -o DPkg::Lock::Timeout=600 -o Acquire::Retries=3)
if [ "$(id -u)" != 0 ]; then
  command -v sudo >/dev/null || fail "only root can install what is missing: ${missing[*]}"
  apt=(sudo "${apt[@]}")
fi

echo "Installing ${missing[*]}"
log=$(mktemp)
trap 'rm -f "$log"' EXIT
# A source that is out of reach may not matter to what is missing here: the installation decides.
"${apt[@]}" update >"$log" 2>&1 || true
if ! "${apt[@]}" -y --no-install-recommends install "${missing[@]}" >>"$log" 2>&1 </dev/null; then
  tail -n 20 "$log" >&2
  unknown=()
  for package in "${missing[@]}"; do
    apt-cache show "$package" >/dev/null 2>&1 || unknown+=("$package")
  done
  [ ${#unknown[@]} -eq 0 ] || fail "apt has no package ${unknown[*]}"
  fail "apt-get could not install ${missing[*]}"
fi
