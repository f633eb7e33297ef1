#!/bin/sh
# Draws Ask.ico, a magnifying glass, with ImageMagick. The result is in the
# tree, so that a build needs no drawing program.
set -eu
cd "$(dirname "$0")"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
convert -size 1024x1024 xc:none -draw '
  scale 4,4  stroke #125e66  stroke-width 28  fill #f4fafa
  circle 108,108 108,36  line 162,162 224,224' "$work/large.png"
images=
for size in 16 24 32; do
  convert "$work/large.png" -filter Box -resize ${size}x${size} "$work/$size.png"
  images="$images $work/$size.png"
done
# shellcheck disable=SC2086
convert $images Ask.ico
