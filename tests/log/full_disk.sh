#!/usr/bin/env bash
# full_disk.sh <command...>: the log's tests on a disk that can be filled.
set -eu
disk=$(mktemp -d)
mount -t tmpfs -o size=256k tmpfs "$disk" 2>/dev/null ||
  { echo "Skipped: no disk can be mounted"; rmdir "$disk"; exit 77; }
trap 'umount "$disk"; rmdir "$disk"' EXIT
VEL_TEST_SMALL_DISK=Z:${disk//\//\\} "$@" --gtest_filter='*FullDisk*'
