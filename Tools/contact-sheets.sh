#!/usr/bin/env bash
# Draws contact sheets of every image set and font at the three scales in each palette, and one
# swatch per palette, into BUILD/sheets/. Usage: Tools/contact-sheets.sh [BUILD_DIR]
set -euo pipefail
build=$(cd "${1:-build}" && pwd)
cmake --build "$build" --target kelimg kelpal kel_resources > /dev/null
out="$build/sheets"
mkdir -p "$out"
for pal in "$build"/Resources/Palettes/*.pal; do
    name=$(basename "$pal" .pal)
    "$build/Tools/kelpal/kelpal" --swatch "$out/palette-$name.png" "$pal"
    for scale in 0.8 1.0 1.25; do
        "$build/Tools/kelimg/kelimg" --contact-sheet "$out/sheet-$name-$scale.png" \
            --from "$build/Resources/Gfx" --scale "$scale" --palette "$pal"
    done
done
ls "$out"
