# shellcheck shell=bash disable=SC2034
# Installs Debian packages that are missing. Sourced by the other scripts.

# install_missing PACKAGE...: does nothing, not even look for updates, when all of them are there.
install_missing() {
  local missing=() package
  for package in "$@"; do
    [ "$(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null)" = installed ] || missing+=("$package")
  done
  [ ${#missing[@]} -gt 0 ] || return 0

  local as_root=()
  if [ "$(id -u)" -ne 0 ]; then
    if ! command -v sudo >/dev/null; then
      echo "These packages are missing, and installing them needs root or sudo: ${missing[*]}" >&2
      return 1
    fi
    as_root=(sudo)
  fi
  echo "== installing: ${missing[*]}"
  "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get update -q </dev/null &&
    "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
      apt-get install -q -y --no-install-recommends "${missing[@]}" </dev/null
}

# What a build of the library and its host programs needs.
build_packages=(g++ cmake ninja-build pkg-config libasound2-dev libcli11-dev libpulse-dev libsoxr-dev)
# What lets ALSA's default device reach a desktop's sound server.
sound_packages=(libasound2-plugins)
# What the manual pages and the Debian packages are made with.
package_packages=(help2man dpkg-dev gzip)
