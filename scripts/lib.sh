# Shared by the scripts: the project's folder, and what it needs from the system.
set -euo pipefail
project=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)

build_packages=(g++ cmake ninja-build pkg-config libexpat1-dev libcurl4-openssl-dev libssl-dev libidn2-dev
  libgdk-pixbuf-2.0-dev libcli11-dev nlohmann-json3-dev libsqlite3-dev libcpp-httplib-dev)
test_packages=(libgtest-dev libgmock-dev openssl python3 tinyproxy doxygen valgrind curl lintian dosfstools
  fusefat chromium chromium-driver python3-selenium)
format_packages=(clang-format-14)

# Installs by name those of the given Debian packages that are missing.
install_missing() {
  local missing=() package
  for package in "$@"; do
    dpkg-query -W -f '${Status}' "$package" 2>/dev/null | grep -q 'ok installed' || missing+=("$package")
  done
  [ ${#missing[@]} -eq 0 ] && return
  local as_root=()
  [ "$(id -u)" -eq 0 ] || as_root=(sudo)
  echo "Installing: ${missing[*]}" >&2
  "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get update -qq >&2
  "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${missing[@]}" >&2
}

# build PRESET OPTION...: configures and builds a preset. Only a failed configuration is shown.
build() (
  cd "$project"
  preset=$1
  shift
  log=$(cmake --preset "$preset" "$@" 2>&1) || { echo "$log" >&2; exit 1; }
  cmake --build --preset "$preset" >&2
)
