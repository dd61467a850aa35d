#!/usr/bin/env bash
# The installed package, tested as a user gets it: builds the .deb
# (scripts/package.sh), makes a fresh Debian bookworm root with debootstrap,
# installs the package there with apt (which pulls in the dependencies that
# the package declares, and nothing else), and runs
# tests/package/installed_import_check.sh inside it as an ordinary user with
# the installed programs only. Needs root (debootstrap, chroot, mount) and
# Debian's package mirror. .ci/run runs it; scripts/test.sh does not.
#   tests/package/install_test.sh
# Environment: METERIMPORT_DEBIAN_MIRROR (default http://deb.debian.org/debian).
# The bootstrapped base is kept in build-package/bookworm-base and copied for
# each run, so a second run on the same checkout skips debootstrap.
set -euo pipefail
root=$(cd "$(dirname "$0")/../.." && pwd)
build="$root/build-package"
mirror=${METERIMPORT_DEBIAN_MIRROR:-http://deb.debian.org/debian}
security_mirror=${mirror%/debian}/debian-security
base="$build/bookworm-base"
target="$build/install-root"
if [[ $(id -u) -ne 0 ]]; then
  exec sudo --preserve-env=METERIMPORT_DEBIAN_MIRROR "$0" "$@"
fi

started=$SECONDS
phase_started=$SECONDS
phase() {
  echo "== $1 ($((SECONDS - phase_started)) s)"
  phase_started=$SECONDS
}

"$root/scripts/install-deps.sh" --install-test
"$root/scripts/package.sh"
package=$(ls "$build"/meterimport_*.deb)
phase "package built: $package"

if [[ ! -f "$base/.complete" ]]; then
  rm -rf "$base"
  debootstrap --variant=minbase bookworm "$base" "$mirror" > "$build/debootstrap.log" 2>&1 || {
    tail -n 30 "$build/debootstrap.log" >&2
    exit 1
  }
  touch "$base/.complete"
  phase "debootstrap bookworm (minbase)"
fi

# A fresh copy of the base for this run. /proc is mounted in it: the programs
# find their own folder through /proc/self/exe.
unmount() {
  if mountpoint -q "$target/proc"; then umount "$target/proc"; fi
}
trap unmount EXIT
unmount
rm -rf "$target"
cp -a "$base" "$target"
mount -t proc proc "$target/proc"
cp /etc/resolv.conf "$target/etc/resolv.conf" 2>/dev/null || true
cat > "$target/etc/apt/sources.list" <<SOURCES
deb $mirror bookworm main
deb $mirror bookworm-updates main
deb $security_mirror bookworm-security main
SOURCES
cp "$package" "$target/tmp/"
in_root() { chroot "$target" env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin DEBIAN_FRONTEND=noninteractive "$@"; }
in_root apt-get update -qq
in_root apt-get install -y -qq --no-install-recommends "/tmp/$(basename "$package")" \
  > "$build/install-root-apt.log" 2>&1 || {
  tail -n 30 "$build/install-root-apt.log" >&2
  exit 1
}
in_root dpkg -s meterimport | sed -n 's/^\(Version\|Depends\|Recommends\): /  \1: /p'
phase "installed into a fresh bookworm root with apt"

# An ordinary user, with nothing of the build tree: the check script is the
# only file copied in.
in_root useradd --create-home --groups dialout meteruser
install -m 0755 "$root/tests/package/installed_import_check.sh" "$target/usr/local/bin/"
user=$(in_root id -u meteruser):$(in_root id -g meteruser)
as_user() {
  chroot --userspec="$user" "$target" env -i PATH=/usr/bin:/bin HOME=/home/meteruser \
    LC_ALL=C.UTF-8 "$@"
}
status=0
as_user bash /usr/local/bin/installed_import_check.sh /usr /home/meteruser/check || status=$?
phase "import with the installed programs into a demo installation of the user's"

# The system-wide installation of the README's "Installing" section: root
# registers the simulated control and the meter's options in
# /etc/meterimport/machine.hive and makes it readable for everyone; the user
# names an import folder of their own and imports, with no settings in the
# environment.
in_root bash -euc '
  key="HKLM\SOFTWARE\Classes\CLSID\{C8367F74-6040-11D3-8A53-00C04FC8C0E2}\InprocServer32"
  meterimport-settings set "$key" @ /usr/lib/$(dpkg --print-architecture | sed s/amd64/x86_64/)-linux-gnu/meterimport/libmeterctl-sim.so
  meterimport-settings set "$key" MemoryFile /usr/share/meterimport/meters/accu-chek-sensor-complete.json
  meter="HKLM\SOFTWARE\Kestrelsoft\Demo\modules\Accutrend sensor complete"
  meterimport-settings set "$meter" TestPorts 0
  for category in Insulin Intakes ExerciseData LabData; do
    meterimport-settings set "$meter" ${category}_Available -1
  done
  meterimport-settings set "HKLM\SOFTWARE\Kestrelsoft\Demo" LanguageDLL English'
system_status=0
as_user bash -euc '
  mkdir -p ~/meter-import
  meterimport-settings set "HKCU\SOFTWARE\Kestrelsoft\Demo" ImportDir ~/meter-import
  meterimport-batch Demo 1 1 13 > ~/system.out
  test "$(ls ~/meter-import | wc -l)" -eq 5
  meterimport Demo 2 1 13 0' || system_status=$?
if ((system_status == 0)); then
  echo "system-wide installation: 1 passed, 0 failed"
else
  echo "FAILED: the import with the system-wide installation (status $system_status)" >&2
  status=1
fi
phase "import with a system-wide installation"
echo "install test: $((SECONDS - started)) s in all"
exit "$status"
