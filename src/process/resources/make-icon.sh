#!/bin/sh
# Draws Brindlemar.ico, a globe in a sandbox, with ImageMagick. The result is in
# the tree, so that a build needs no drawing program.
set -eu
cd "$(dirname "$0")"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
convert -size 1024x1024 xc:none -draw '
  scale 4,4
  fill #125e66  roundrectangle 8,8 248,248 52,52
  fill #f4fafa  circle 128,104 128,32
  fill none  stroke #2d8f99  stroke-width 12
  ellipse 128,104 32,72 0,360  line 58,92 198,92
  stroke none
  fill #e0a034  polygon 40,132 216,132 200,222 56,222
  fill #f5c662  roundrectangle 28,122 228,152 10,10' "$work/large.png"
images=
for size in 16 20 24 32 40 48 64 256; do
  convert "$work/large.png" -filter Box -resize ${size}x${size} "$work/$size.png"
  images="$images $work/$size.png"
done
# shellcheck disable=SC2086
convert $images Brindlemar.ico
