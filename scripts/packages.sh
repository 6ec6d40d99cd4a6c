# Debian packages the build, the benchmarks and the real-display test (Xvfb) need; sourced by
# the scripts in this folder.
GAMEPAD_PACKAGES=(cmake ninja-build g++ qt6-base-dev libsfml-dev libgl-dev libbenchmark-dev xvfb)

install_missing_packages() {
  local missing=() p
  for p in "${GAMEPAD_PACKAGES[@]}"; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
  done
  ((${#missing[@]})) || return 0
  local sudo=()
  [ "$(id -u)" -eq 0 ] || sudo=(sudo)
  "${sudo[@]}" apt-get update >&2
  DEBIAN_FRONTEND=noninteractive "${sudo[@]}" apt-get install -y "${missing[@]}" >&2
}
