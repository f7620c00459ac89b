#!/bin/sh
# Installs the Debian packages that the named groups of work need, and does nothing when they are there.
#
#   tools/install-deps.sh [--list] GROUP...      groups: build test check fuzz bench corpus package
#
# --list prints the packages instead. `build` is part of every group that compiles.
set -eu

build="g++ cmake ninja-build pkgconf libc6-dev libfmt-dev libutf8proc-dev libmd-dev libcli11-dev nlohmann-json3-dev zlib1g-dev libavcodec-dev libavutil-dev"

packages_of() {
  case $1 in
    build) echo "$build" ;;
    test) echo "$build libgtest-dev libgmock-dev python3" ;;
    check) echo "$build libgtest-dev libgmock-dev python3 clang-format clang-tidy" ;;
    fuzz) echo "$build clang libclang-rt-14-dev" ;;
    bench) echo "$build" ;;
    corpus) echo "$build libgtest-dev libgmock-dev python3" ;;
    package) echo "$build dpkg-dev file" ;;
    *) echo "install-deps.sh: unknown group '$1'" >&2; return 2 ;;
  esac
}

list_only=false
if [ "${1-}" = --list ]; then
  list_only=true
  shift
fi
[ $# -gt 0 ] || set -- build

wanted=
for group in "$@"; do
  packages=$(packages_of "$group")
  wanted="$wanted $packages"
done
wanted=$(printf '%s\n' $wanted | sort -u)

if $list_only; then
  printf '%s\n' $wanted
  exit 0
fi

if ! command -v dpkg-query >/dev/null; then
  echo "This is not a Debian system: install what these Debian packages hold, then build with CMake:" >&2
  echo $wanted >&2
  exit 1
fi

missing=
installed=$(dpkg-query -W -f '${Package} ${db:Status-Status}\n' $wanted 2>/dev/null || true)
for package in $wanted; do
  case "
$installed
" in
    *"
$package installed
"*) ;;
    *) missing="$missing $package" ;;
  esac
done
[ -n "$missing" ] || exit 0

echo "Installing$missing"
as_root=
if [ "$(id -u)" -ne 0 ]; then
  if ! command -v sudo >/dev/null; then
    echo "Run as root: apt-get install -y --no-install-recommends$missing" >&2
    exit 1
  fi
  as_root="sudo"
fi
quietly() {
  log=$(mktemp)
  status=0
  $as_root env DEBIAN_FRONTEND=noninteractive "$@" >"$log" 2>&1 </dev/null || status=$?
  if [ $status -ne 0 ]; then
    cat "$log" >&2
  fi
  rm -f "$log"
  return $status
}
quietly apt-get -q update || echo "apt-get update failed: trying with the package lists as they are" >&2
if ! quietly apt-get -q install -y --no-install-recommends $missing; then
  echo "Could not install:$missing" >&2
  exit 1
fi
