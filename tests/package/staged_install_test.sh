#!/usr/bin/env bash
# Installs the build into a staging folder (DESTDIR) and checks the installed
# tree with installed_import_check.sh: the programs find their catalogues and
# help beside themselves, the registered control and sample memory work from
# their installed places. Then compiles a meter control's source against the
# installed header with the flags that the installed meterctl.pc gives.
#   staged_install_test.sh CMAKE BUILD_DIR PREFIX CC
set -euo pipefail
cmake=$1
build=$2
prefix=$3
cc=$4
here=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
stage="$work/stage"

DESTDIR="$stage" "$cmake" --install "$build" > "$work/install.log"
mkdir "$work/check"
status=0
"$here/installed_import_check.sh" "$stage$prefix" "$work/check" || status=$?

# The pkg-config file, read from the staging folder.
failures=0
pcs=("$stage$prefix"/lib/*/pkgconfig/meterctl.pc)
export PKG_CONFIG_PATH=$(dirname "${pcs[0]}") PKG_CONFIG_LIBDIR=/nonexistent
controldir=$(pkg-config --variable=controldir meterctl)
if [[ ! -f "$stage$controldir/libmeterctl-sim.so" ]]; then
  echo "FAILED: meterctl.pc's controldir $controldir does not hold the simulated control" >&2
  failures=$((failures + 1))
fi
cat > "$work/control.c" <<'C'
#include <meterimport/meterctl.h>
METERCTL_EXPORT const meterctl_interface *meterctl_get_interface(void) { return 0; }
C
if ! "$cc" -fsyntax-only $(PKG_CONFIG_SYSROOT_DIR="$stage" pkg-config --cflags meterctl) \
    "$work/control.c"; then
  echo "FAILED: a control does not compile with meterctl.pc's flags" >&2
  failures=$((failures + 1))
fi
echo "meterctl.pc: $((2 - failures)) passed, $failures failed"
((failures == 0 && status == 0))
