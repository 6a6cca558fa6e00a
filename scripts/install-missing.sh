#!/usr/bin/env bash
# Installs with apt-get those of the given Debian packages that are not
# installed yet (as root, or with sudo). Options before the packages go to
# apt-get install (e.g. --no-install-recommends).
#   install-missing.sh [APT_OPTIONS...] PACKAGE...
set -euo pipefail
options=()
missing=()
for p in "$@"; do
  case "$p" in
    -*) options+=("$p") ;;
    *) dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p") ;;
  esac
done
[ ${#missing[@]} -eq 0 ] && exit 0
echo "installing: ${missing[*]}"
sudo_cmd=""
[ "$(id -u)" -ne 0 ] && sudo_cmd="sudo"
$sudo_cmd apt-get update -qq
DEBIAN_FRONTEND=noninteractive $sudo_cmd apt-get install -y -qq "${options[@]}" "${missing[@]}"
