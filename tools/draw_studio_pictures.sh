#!/usr/bin/env bash
# Draws the pictures of the studio window (needs ImageMagick).  They are kept in the repository; run this again only to
# change them.  Colours are mid-tones that stand out on light and on dark windows.
set -eu
cd "$(dirname "$(readlink -f "$0")")/../resources/ZKBmp/ButtonBars/Studio"
blue='#3f83cf' green='#3aa05a' red='#d0524a' orange='#d18a2c' grey='#8a8f98' violet='#8a66c8'
# NAME COLOUR DRAWING...: strokes on a 96 x 96 field
button() {
  local name=$1 colour=$2
  shift 2
  convert -size 96x96 xc:none -stroke "$colour" -strokewidth 8 -fill none "$@" -resize 48x48 -strip -define png:exclude-chunks=date,time "PNG32:Button_$name.png"
}
cap() { echo "stroke-linecap round stroke-linejoin round"; }
button Add "$green" -draw "$(cap) line 48,16 48,80 line 16,48 80,48"
button Remove "$red" -draw "$(cap) line 16,48 80,48"
button Undo "$grey" -draw "$(cap) path 'M 22,40 L 56,40 A 20,20 0 0,1 56,80 L 34,80' path 'M 38,22 L 20,40 L 38,58'"
button Install "$blue" -draw "$(cap) line 48,12 48,58 path 'M 28,40 L 48,60 L 68,40' path 'M 14,62 L 14,84 L 82,84 L 82,62'"
button InstallFolder "$blue" -draw "$(cap) path 'M 12,24 L 38,24 L 48,36 L 84,36 L 84,80 L 12,80 Z' line 48,46 48,66 path 'M 38,58 L 48,68 L 58,58'"
button InstallWeb "$blue" -draw "$(cap) circle 48,48 48,14 ellipse 48,48 15,34 0,360 line 14,48 82,48"
button AutoSense "$violet" -draw "$(cap) circle 48,48 48,40 arc 26,26 70,70 -60,60 arc 26,26 70,70 120,240 arc 10,10 86,86 -50,50 arc 10,10 86,86 130,230"
button Settings "$grey" -draw "$(cap) line 14,28 82,28 line 14,68 82,68" -fill "$orange" -stroke "$orange" -draw "circle 34,28 34,19 circle 62,68 62,59"
button Report "$grey" -draw "$(cap) path 'M 22,12 L 58,12 L 74,28 L 74,84 L 22,84 Z' line 34,44 62,44 line 34,58 62,58 line 34,72 52,72"
button Print "$grey" -draw "$(cap) path 'M 28,34 L 28,12 L 68,12 L 68,34' path 'M 28,68 L 12,68 L 12,36 L 84,36 L 84,68 L 68,68' path 'M 28,58 L 68,58 L 68,84 L 28,84 Z'"
button Get "$green" -draw "$(cap) path 'M 56,26 L 34,48 L 56,70' line 36,48 84,48 line 14,16 14,80"
button New "$orange" -draw "$(cap) path 'M 22,12 L 58,12 L 74,28 L 74,84 L 22,84 Z' line 48,40 48,68 line 34,54 62,54"
button List "$blue" -draw "$(cap) rectangle 14,18 82,42 rectangle 14,56 82,80"
button Tree "$blue" -draw "$(cap) line 16,18 46,18 path 'M 26,18 L 26,78 L 44,78' line 26,48 44,48 line 56,48 82,48 line 56,78 82,78"
# The list's background: grain that lets the window's colour through.
convert -size 128x128 xc:none -fill 'rgba(128,140,160,0.055)' \
  -draw "$(for x in 0 16 32 48 64 80 96 112; do echo "rectangle $x,0 $((x + 7)),127"; done)" -strip \
  -define png:exclude-chunks=date,time PNG32:Studio_Background.png
# Lies over panels that are not selected.
convert -size 16x16 'xc:rgba(128,128,136,0.10)' -strip -define png:exclude-chunks=date,time PNG32:Unsel_Overlay.png
