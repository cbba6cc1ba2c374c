#!/usr/bin/env bash
# Makes sure every Debian package the build and the tests need is installed.
# As root it installs what is missing; otherwise it prints the apt-get line
# and fails, so that no test silently skips a comparison.
set -euo pipefail
packages=(g++ clang cmake ninja-build pkg-config libmagic-dev libxml2-dev libgtest-dev
          libbenchmark-dev python3 uudeview time tnef libxml2-utils)
missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed'; then
    missing+=("$p")
  fi
done
# python3 may come from elsewhere than Debian; it only has to run.
if [ "${#missing[@]}" -gt 0 ]; then
  filtered=()
  for p in "${missing[@]}"; do
    if [ "$p" = python3 ] && command -v python3 >/dev/null; then continue; fi
    filtered+=("$p")
  done
  missing=("${filtered[@]+"${filtered[@]}"}")
fi
[ "${#missing[@]}" -eq 0 ] && exit 0
line="apt-get install -y ${missing[*]}"
if [ "$(id -u)" -ne 0 ]; then
  echo "missing packages; run as root: $line" >&2
  exit 1
fi
echo "installing: ${missing[*]}" >&2
export DEBIAN_FRONTEND=noninteractive
apt-get update -qq >/dev/null
apt-get install -y -qq "${missing[@]}" >/dev/null
