#!/usr/bin/env bash
# Builds the Debian package meterimport_VERSION_ARCH.deb: a Release build in
# build-package/ with the prefix /usr and Debian's hardening flags, CPack,
# then lintian on the package. Prints the package's path last.
#   scripts/package.sh
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build="$root/build-package"

"$root/scripts/install-deps.sh" --package

# The compiler and linker flags a Debian package is built with (stack
# protector, fortified functions, read-only relocations, bind now). CMake
# reads CFLAGS, CXXFLAGS and LDFLAGS at the first configuration, but not
# CPPFLAGS, so the preprocessor flags go with the compiler flags.
eval "$(DEB_BUILD_MAINT_OPTIONS=hardening=+all dpkg-buildflags --export=sh)"
export CFLAGS="$CPPFLAGS $CFLAGS" CXXFLAGS="$CPPFLAGS $CXXFLAGS"

cmake -S "$root" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DCMAKE_INSTALL_PREFIX=/usr \
  -DMETERIMPORT_TESTS=OFF -DMETERIMPORT_BENCH=OFF >/dev/null
jobs=$(nproc)
((jobs > 2)) && jobs=2
cmake --build "$build" -j "$jobs"
rm -f "$build"/meterimport_*.deb
(cd "$build" && cpack -G DEB >/dev/null)
package=$(ls "$build"/meterimport_*.deb)

echo "== lintian $(basename "$package")"
# lintian exits non-zero on errors only (warnings are listed and explained in
# the README's "Installing" section).
lintian --display-info "$package"
echo "== The package: $package"
