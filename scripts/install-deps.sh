#!/usr/bin/env bash
# Installs the Debian packages that building, testing and running the module
# need, and only those that are missing. Safe to run again.
#   scripts/install-deps.sh            build and test packages
#   scripts/install-deps.sh --fuzz     also clang and libFuzzer
#   scripts/install-deps.sh --screenshots   also the high-contrast style
#                                           (scripts/screenshots.sh,
#                                           scripts/run.sh --screenshots)
#   scripts/install-deps.sh --bench    also the sqlite3 shell (the hive benchmarks)
#   scripts/install-deps.sh --package       also what makes and checks the .deb
#                                           (scripts/package.sh)
#   scripts/install-deps.sh --install-test  also debootstrap (tests/package/install_test.sh)
#   scripts/install-deps.sh --lint     also clang-tidy and cppcheck (scripts/lint.sh)
# As root it runs apt-get itself, otherwise through sudo. Without sudo (or
# when apt-get fails) it names the packages and the command for root, and
# ends with status 3.
set -euo pipefail

packages=(
  cmake ninja-build g++ pkg-config
  libsqlite3-dev nlohmann-json3-dev
  libgtest-dev libgmock-dev libbenchmark-dev
  # The windows: Qt 6 (Core, Gui, Widgets, DBus, Test; SVG for the pictures)
  # and what Qt's CMake packages look for.
  qt6-base-dev qt6-svg-dev libgl-dev libvulkan-dev libxkbcommon-dev libxcb1-dev
  # The start-up benchmark's clock sees the first drawing into a window.
  libxcb-damage0-dev
  # The start-up reads the font configuration on a thread of its own.
  libfontconfig-dev
  # The status link's tests run a private session bus.
  dbus-daemon dbus-session-bus-common dbus-bin
  # Windows shown and driven on a virtual display; fonts, "Arial" among them;
  # ImageMagick grabs a window to see that it is painted.
  xvfb xauth xdotool x11-utils fonts-dejavu-core fonts-liberation2 imagemagick
  # A window manager for the tests of the wizard inside the diary's window.
  openbox
  # Qt's own texts (standard buttons, input boxes) in the catalogue's language.
  qt6-translations-l10n
  # The accessibility bus and a client that walks the windows' tree on it.
  at-spi2-core python3-pyatspi
)
case "${1:-}" in
  --fuzz) packages+=(clang libclang-rt-14-dev libfuzzer-14-dev) ;;
  --screenshots) packages+=(adwaita-qt6) ;;
  --bench) packages+=(sqlite3) ;;
  --package) packages+=(dpkg-dev file lintian) ;;
  --install-test) packages+=(dpkg-dev file lintian debootstrap) ;;
  --lint) packages+=(clang-tidy cppcheck python3) ;;
esac

missing=()
for package in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q "install ok installed"; then
    missing+=("$package")
  fi
done
((${#missing[@]} == 0)) && exit 0

# Says what root has to run and ends with status 3.
needs_root() {
  echo "scripts/install-deps.sh: these Debian packages are missing: ${missing[*]}" >&2
  echo "$1 Install them as root, then run this again:" >&2
  echo "  apt-get update && apt-get install --no-install-recommends ${missing[*]}" >&2
  exit 3
}

sudo=()
if [[ $(id -u) -ne 0 ]]; then
  command -v sudo >/dev/null || needs_root "There is no sudo here."
  sudo=(sudo)
fi
echo "Installing: ${missing[*]}" >&2
export DEBIAN_FRONTEND=noninteractive
"${sudo[@]}" apt-get update -qq || needs_root "apt-get update failed."
"${sudo[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}" ||
  needs_root "apt-get install failed."
