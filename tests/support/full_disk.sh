#!/usr/bin/env bash
# full_disk.sh <command that runs a test program>: its test of bad disks on one
# that gets full, and on the same read-only.
set -eu
export GTEST_FILTER='*FullOrReadOnlyDisk*'
disk=$(mktemp -d)
mount -t tmpfs -o size=256k tmpfs "$disk" 2>/dev/null ||
  { echo "Skipped: no disk can be mounted"; rmdir "$disk"; exit 77; }
# What the test has had open goes a moment after its end.
patiently() {
  local i
  for i in $(seq 50); do
    "$@" 2>/dev/null && return
    sleep 0.1
  done
  "$@"
}
trap 'patiently umount "$disk"; rmdir "$disk"' EXIT
for change in remount remount,ro; do
  patiently mount -o "$change" "$disk"
  VEL_TEST_SMALL_DISK=Z:${disk//\//\\} "$@"
done
