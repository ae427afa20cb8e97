# Shared by the scripts: sourced, not run. Leaves the shell in the project's root.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

# install_packages [PACKAGE...]: installs what scripts/packages lists, and those named, as far as the
# machine lacks them.
install_packages() {
  command -v dpkg-query >/dev/null || {
    echo "This is not a Debian machine: install what scripts/packages lists, then run CMake by hand" \
         "(README.md, Building)." >&2
    exit 1
  }
  local package missing=()
  while read -r package; do
    case "$package" in '' | '#'*) continue ;; esac
    dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'install ok installed' ||
      missing+=("$package")
  done < <(cat scripts/packages && printf '%s\n' "$@")
  [ "${#missing[@]}" -gt 0 ] || return 0
  echo "Installing: ${missing[*]}"
  local as_root=()
  if [ "$(id -u)" -ne 0 ]; then
    command -v sudo >/dev/null || {
      echo "Run this as root once, or install the packages named above." >&2
      exit 1
    }
    as_root=(sudo)
  fi
  "${as_root[@]}" apt-get update -qq
  DEBIAN_FRONTEND=noninteractive "${as_root[@]}" apt-get install -y -qq --no-install-recommends \
    "${missing[@]}" >/dev/null
}

# build PRESET [TARGET...]: configures and builds.
build() {
  local preset="$1"
  shift
  cmake --preset "$preset" >/dev/null
  cmake --build --preset "$preset" ${1:+--target "$@"}
}

# The comment at the top of a script, as its help.
print_help() {
  sed -n '2,/^[^#]/{s/^# \{0,1\}//p}' "$1"
}
