#!/usr/bin/env bash
# End-to-end tests of the imge command-line tool: a few operations, every
# operation's help, batches, and the bad command lines and bad files that must
# give one clear line, a non-zero exit and no output file.
# Usage: tool_test.sh path/to/imge path/to/tests/data/tool
set -u
IMGE=$(cd "$(dirname "$1")" && pwd)/$(basename "$1")
DATA=$(cd "$2" && pwd)
HERE=$(cd "$(dirname "$0")" && pwd)
T=$(mktemp -d)
trap 'rm -rf "$T"' EXIT
cd "$T"
failures=0

fail() { echo "FAIL: $*"; failures=$((failures + 1)); }
# run CMD...: runs imge, keeps stdout/stderr/exit code in $out $err $rc
run() { "$IMGE" "$@" >"$T/.out" 2>"$T/.err"; rc=$?; out=$(cat "$T/.out"); err=$(cat "$T/.err"); }
expect_rc() { [ "$rc" -eq "$1" ] || fail "$2: exit code $rc, expected $1 (stderr: $err)"; }
expect_err() { grep -qF -- "$1" "$T/.err" || fail "$2: stderr lacks '$1' (got: $err)"; }
one_line_err() { [ "$(wc -l <"$T/.err")" -eq 1 ] || fail "$1: expected one error line, got: $err"; }
absent() { [ ! -e "$1" ] || fail "$2: $1 was written"; }
same() { cmp -s "$1" "$2" || fail "$3: $1 and $2 differ"; }
bytes() { od -An -tu1 -v "$1" | tr -s ' \n' ' ' | sed 's/^ //;s/ $//'; }

# ---- version and help ----------------------------------------------------------
run --version
if [ "$rc" -eq 127 ] || [ "$rc" -eq 126 ]; then echo "FAIL: imge does not start: $err"; exit 1; fi
run --version; expect_rc 0 "--version"; [[ "$out" == imge\ [0-9]* ]] || fail "--version prints '$out'"
run --help; expect_rc 0 "--help"
ops=$(sed -n 's/^    \([a-z][a-z0-9-]*\)  .*/\1/p' "$T/.out")
[ -n "$ops" ] || fail "--help lists no operations"
for op in $ops; do
  run "$op" --help; expect_rc 0 "$op --help"
  [[ "$out" == "Usage: imge $op"* ]] || fail "$op --help does not start with its usage"
done
run; expect_rc 2 "no arguments"
run no-such-op x.png; expect_rc 2 "unknown operation"; expect_err "unknown operation 'no-such-op'" "unknown operation"

# ---- the demo: sample pictures, one file per operation, contact sheet ------------
run demo -o demo; expect_rc 0 "demo"
run demo -o; expect_rc 2 "demo -o without a folder"; expect_err "missing value for -o" "demo -o without a folder"
for f in demo/sample.png demo/sample-exif.jpg demo/contact-sheet.png; do
  [ -s "$f" ] || fail "demo did not write $f"
done
[ "$(head -c 8 demo/contact-sheet.png | od -An -tx1 | tr -d ' \n')" = 89504e470d0a1a0a ] || fail "contact sheet is not a PNG"
for op in $ops; do
  [ "$op" = info ] && continue   # the tool's own report, not a library operation
  ls demo/"$op".* >/dev/null 2>&1 || fail "demo wrote nothing for $op"
done

# ---- conversions and exact results on tiny PNM files ------------------------------
printf 'P5\n3 1\n255\n\000\310\377' > grey.pgm
run negative grey.pgm -o neg.pgm; expect_rc 0 "negative P5"
[ "$(tail -c 3 neg.pgm | od -An -tu1 | tr -s ' ' | sed 's/^ //;s/ $//')" = "255 55 0" ] || fail "negative of 0 200 255 is $(tail -c 3 neg.pgm | od -An -tu1)"
printf 'P6\n2 1\n255\n\001\002\003\375\376\377' > rgb.ppm
run apply-lut --curve "0,255 255,0" rgb.ppm -o lut.ppm; expect_rc 0 "apply-lut P6"
[ "$(tail -c 6 lut.ppm | od -An -tu1 | tr -s ' ' | sed 's/^ //;s/ $//')" = "254 253 252 2 1 0" ] || fail "inverting curve gives $(tail -c 6 lut.ppm | od -An -tu1)"
printf 'P5\n2 1\n15\n\000\017' > maxval.pgm          # maxval 15 is scaled to 0..255
run apply-lut maxval.pgm -o scaled.pgm; expect_rc 0 "P5 maxval 15"
[ "$(tail -c 2 scaled.pgm | od -An -tu1 | tr -s ' ' | sed 's/^ //;s/ $//')" = "0 255" ] || fail "maxval scaling"
# True-colour operations take grey and palette pictures through RGB: sepia
# tints a grey scan, desaturate keeps it grey.
while read -r op file kind; do
  run "$op" "$file" -o tc.pnm; expect_rc 0 "$op on $file"; [ "$(head -c 2 tc.pnm)" = "$kind" ] || fail "$op on $file gives $(head -c 2 tc.pnm)"
done <<ROWS
sepia grey.pgm P6
desaturate grey.pgm P5
saturation-gamma $DATA/palette-opaque.png P6
ROWS
# PNG round trip: negative twice is the original picture.
run negative demo/sample.png -o n1.png; expect_rc 0 "negative PNG"
run negative n1.png -o n2.ppm; expect_rc 0 "negative PNG to PPM"
run apply-lut demo/sample.png -o orig.ppm; expect_rc 0 "identity curve"
same n2.ppm orig.ppm "negative twice"
# JPEG in and out.
run negative demo/sample-exif.jpg -o neg.jpg --quality 80; expect_rc 0 "negative JPEG"
[ "$(head -c 2 neg.jpg | od -An -tx1 | tr -d ' \n')" = ffd8 ] || fail "JPEG output is not a JPEG"
run negative neg.jpg --format png -o jpgdir/; expect_rc 0 "JPEG into folder as PNG"
[ -s jpgdir/neg.png ] || fail "--format png into a folder"
# Without -o the result goes beside the input.
cp grey.pgm beside.pgm
run negative beside.pgm; expect_rc 0 "no -o"
[ -s beside-negative.pgm ] || fail "no -o: beside-negative.pgm missing"

# Drawing: exact pixels on a tiny black picture.
printf 'P5\n5 3\n255\n' > black.pgm; head -c 15 /dev/zero >> black.pgm
run draw-line --x0 -10 --y0 1 --x1 10 --y1 1 black.pgm -o line.pgm; expect_rc 0 "draw-line"
[ "$(tail -c 15 line.pgm | od -An -tu1 -v | tr -s ' \n' ' ' | sed 's/^ //;s/ $//')" = "0 0 0 0 0 255 255 255 255 255 0 0 0 0 0" ] || fail "clipped line across row 1"
run draw-rectangle --x 1 --y 0 --w 3 --h 3 --fill "#808080" --color none black.pgm -o rect.pgm; expect_rc 0 "draw-rectangle"
[ "$(tail -c 5 rect.pgm | od -An -tu1 -v | tr -s ' \n' ' ' | sed 's/^ //;s/ $//')" = "0 128 128 128 0" ] || fail "filled rectangle row 2"
run draw-polygon --points "0,0 4,0" black.pgm -o p.pgm; expect_rc 2 "polygon of two points"; expect_err "needs at least 3 points" "polygon of two points"; absent p.pgm "polygon of two points"
run draw-circle --x 2 --y 1 --radius -1 black.pgm -o c.pgm; expect_rc 2 "negative radius"; absent c.pgm "negative radius"
run draw-line --x0 0 --y0 0 --x1 4 --y1 2 --style wavy black.pgm -o s.pgm; expect_rc 2 "unknown style"; expect_err "expected one of solid" "unknown style"

# PNG variants (tests/data/tool, made by make_pngs.py): the bitmap type each is
# loaded as, and the samples after conversion to PNM.
pnm_samples() { run apply-lut "$1" -o conv.pnm; expect_rc 0 "convert $1"; tail -c "$2" conv.pnm | od -An -tu1 -v | tr -s ' \n' ' ' | sed 's/^ //;s/ $//'; }
while IFS='|' read -r file kind samples bytes; do   # how each PNG loads, and its samples as PNM
  run info "$DATA/$file"; [ "$out" = "$kind" ] || fail "$file loads as: $out"
  [ -z "$bytes" ] || [ "$(pnm_samples "$DATA/$file" "$bytes")" = "$samples" ] || fail "$file to PNM: $(pnm_samples "$DATA/$file" "$bytes")"
done <<'ROWS'
palette.png|4 x 2 colour-mapped (4 palette entries, with alpha)||
palette-opaque.png|2 x 1 colour-mapped (2 palette entries)|10 20 30 200 100 50|6
grey-alpha.png|2 x 1 RGBA|10 10 10 200 200 200|6
grey16.png|2 x 1 grey|0 255|2
grey1.png|8 x 1 grey|255 0 255 255 0 0 0 0|8
rgba.png|1 x 1 RGBA||
ROWS
run info demo/sample-exif.jpg; [ "${out%%$'\n'*}" = "320 x 240 RGB" ] || fail "JPEG loads as: $out"
[[ "$out" == *"orientation: 6 (turned 90 right)"*"metadata: EXIF "*" bytes"* ]] || fail "info lacks orientation or metadata: $out"
# A palette picture stays a palette picture; negative inverts the palette, not the alpha.
run negative "$DATA/palette.png" -o negpal.png; expect_rc 0 "negative palette PNG"
[ "$(od -An -tu1 -j 25 -N 1 negpal.png | tr -d ' ')" = 3 ] || fail "negative of a palette PNG is not a palette PNG"
run info negpal.png; [ "$out" = "4 x 2 colour-mapped (4 palette entries, with alpha)" ] || fail "negated palette PNG loads as: $out"
[ "$(pnm_samples negpal.png 12)" = "0 0 0 255 255 0 255 0 255 0 255 255" ] || fail "negated palette entries"
# RGBA keeps its alpha through PNG.
run negative "$DATA/rgba.png" -o negrgba.png; expect_rc 0 "negative RGBA"
[ "$(od -An -tu1 -j 25 -N 1 negrgba.png | tr -d ' ')" = 6 ] || fail "RGBA result is not an RGBA PNG"

# ---- batches ---------------------------------------------------------------------
cp grey.pgm a.pgm; cp rgb.ppm b.ppm; echo "not a picture" > bad.png
run negative a.pgm bad.png b.ppm -o batch; expect_rc 1 "batch with a bad file"
[ -s batch/a.pgm ] && [ -s batch/b.ppm ] || fail "batch: good files not written after a bad one"
absent batch/bad.png "batch bad file"
expect_err "imge: bad.png: " "batch error names the file"
expect_err "1 of 3 files failed" "batch summary"
[ "$out" = "" ] || fail "batch printed on stdout: $out"
grep -q $'\r' "$T/.err" && fail "progress bar written although stderr is not a terminal"
run negative --fail-fast -j 1 bad.png a.pgm -o ff; expect_rc 1 "--fail-fast"
absent ff/a.pgm "--fail-fast went on after the first failure"
run info a.pgm b.ppm; expect_rc 0 "report batch"
[ "$out" = "a.pgm: 3 x 1 grey"$'\n'"b.ppm: 2 x 1 RGB" ] || fail "report batch prints: $out"
run info a.pgm -o x.txt; expect_rc 2 "report with -o"
run negative -q a.pgm b.ppm -o quiet; expect_rc 0 "good batch"; [ -z "$err" ] || fail "good batch wrote to stderr: $err"
run negative a.pgm b.ppm -o a.pgm; expect_rc 2 "several inputs into a file"

# ---- bad command lines (exit 2) and bad files (exit 1): one line naming the
# problem, nothing written. Columns: exit code | error text | output that must
# not appear | the command line.
mkdir adir
printf 'GIF89a\001\000\001\000' > pic.gif
head -c 100 demo/sample.png > trunc.png
head -c 300 demo/sample-exif.jpg > trunc.jpg
head -c 15000 demo/sample-exif.jpg > cut.jpg   # cut inside the scan: libjpeg's reason
printf 'P5\n4 4\n255\n\000\000' > short.pgm
printf 'P2\n1 1\n255\n0\n' > ascii.pgm
: > empty.png
while IFS='|' read -r code text output args; do
  eval "run $args"; expect_rc "$code" "$args"; expect_err "$text" "$args"; one_line_err "$args"
  [ -z "$output" ] || absent "$output" "$args"
done <<'ROWS'
2|unknown option --frobnicate|x1.pgm|negative --frobnicate a.pgm -o x1.pgm
2|unknown option -z|x2.pgm|negative -z a.pgm -o x2.pgm
2|missing value for --curve|x3.pgm|apply-lut a.pgm -o x3.pgm --curve
2|missing value for --output||negative a.pgm -o
2|0..255|x4.pgm|apply-lut --curve "0,0 300,255" a.pgm -o x4.pgm
2|'x,1' is not a point|x5.pgm|apply-lut --curve "0,0 x,1" a.pgm -o x5.pgm
2|out of range (1 to 100)|x6.jpg|negative --quality 0 a.pgm -o x6.jpg
2|not a whole number|x7.jpg|negative --quality abc a.pgm -o x7.jpg
2|cannot tell the output format|x8.gif|negative a.pgm -o x8.gif
2|expected png, jpeg or pnm|fmt|negative --format gif a.pgm -o fmt/
2|no input file||negative
1|imge: missing.png: No such file or directory|y1.png|negative missing.png -o y1.png
1|imge: adir: is a directory|y2.png|negative adir -o y2.png
1|imge: pic.gif: unsupported format|y3.png|negative pic.gif -o y3.png
1|imge: trunc.png: bad PNG file|y4.png|negative trunc.png -o y4.png
1|imge: trunc.jpg: bad JPEG file|y5.png|negative trunc.jpg -o y5.png
1|imge: cut.jpg: bad JPEG file: Premature end of JPEG file|y10.png|negative cut.jpg -o y10.png
1|truncated|y6.pgm|negative short.pgm -o y6.pgm
1|unsupported PNM variant P2|y7.pgm|negative ascii.pgm -o y7.pgm
1|empty file|y8.png|negative empty.png -o y8.png
ROWS
run negative --accept-damaged cut.jpg -o y10.png; expect_rc 0 "--accept-damaged"
if [ "$(id -u)" -ne 0 ]; then   # root reads anything
  cp grey.pgm locked.pgm; chmod 000 locked.pgm
  run negative locked.pgm -o y9.pgm; expect_rc 1 "unreadable file"; expect_err "imge: locked.pgm: cannot open" "unreadable file"; absent y9.pgm "unreadable file"
fi
mkdir ro && echo x > ro/keep
run negative a.pgm -o adir; expect_rc 0 "existing folder as -o"; [ -s adir/a.pgm ] || fail "existing folder as -o"
# ---- lossless JPEG operations (the demo's JPEG: 320 x 240, EXIF orientation 6) -----
cp demo/sample-exif.jpg upright.jpg; cp demo/sample-exif.jpg orig.jpg
run jpeg-auto-orient --in-place upright.jpg; expect_rc 0 "jpeg-auto-orient"
run info upright.jpg; [ "${out%%$'\n'*}" = "240 x 320 RGB" ] || fail "jpeg-auto-orient gives $out"
cp upright.jpg again.jpg
run jpeg-auto-orient --in-place again.jpg; expect_rc 0 "jpeg-auto-orient twice"
run info again.jpg; [ "${out%%$'\n'*}" = "240 x 320 RGB" ] || fail "second jpeg-auto-orient turned it again: $out"
run jpeg-rotate --by 90 demo/sample-exif.jpg -o turned.jpg; expect_rc 0 "jpeg-rotate -o"
run info turned.jpg; [ "${out%%$'\n'*}" = "320 x 240 RGB" ] || fail "orientation 6 turned 90 more is upside down: $out"
same demo/sample-exif.jpg orig.jpg "jpeg-rotate -o changed its input"
run jpeg-crop --stored --x 40 --y 30 --width 100 --height 50 demo/sample-exif.jpg -o cropped.jpg; expect_rc 0 "jpeg-crop"
run info cropped.jpg; [ "${out%%$'\n'*}" = "108 x 64 RGB" ] || fail "crop corner not moved to the 16-pixel grid: $out"
if command -v jpegtran >/dev/null; then
  jpegtran -copy all -optimize -crop 100x50+40+30 -outfile want.jpg demo/sample-exif.jpg
  same cropped.jpg want.jpg "jpeg-crop against jpegtran"
fi
cp demo/sample-exif.jpg keep.jpg
run jpeg-crop --in-place --x 2000 --width 1000 --height 10 keep.jpg; expect_rc 1 "crop outside the picture"
expect_err "imge: keep.jpg: not cropped" "crop outside the picture"; one_line_err "crop outside the picture"
same keep.jpg demo/sample-exif.jpg "failed jpeg-crop changed its file"
cp grey.pgm notjpeg.jpg
run jpeg-flip --in-place --direction vertical notjpeg.jpg; expect_rc 1 "jpeg-flip on a PNM"
expect_err "not transformed" "jpeg-flip on a PNM"; same notjpeg.jpg grey.pgm "failed jpeg-flip changed its file"
for o in ./notjpeg.jpg "$T/notjpeg.jpg"; do  # the input by another spelling: kept
  run jpeg-flip --in-place --direction vertical notjpeg.jpg -o "$o"; expect_rc 1 "jpeg-flip -o $o"
  same notjpeg.jpg grey.pgm "failed jpeg-flip -o $o lost its input"
done
[ ! -e keep.jp_ ] && [ ! -e notjpeg.jp_ ] || fail "work files left behind"
run jpeg-rotate --by 45 keep.jpg; expect_rc 2 "jpeg-rotate --by 45"
# Metadata kept through a filter into JPEG and PNG, read back by exiftool;
# the drop shadow's larger picture gets its EXIF pixel size rewritten. JPEG
# re-encoding keeps the source's chroma sampling and matches cjpeg -optimize.
if command -v exiftool >/dev/null && /usr/bin/python3 -c "import PIL.ImageCms" 2>/dev/null; then
  /usr/bin/python3 -c "from PIL import Image, ImageCms
p = ImageCms.ImageCmsProfile(ImageCms.createProfile('sRGB')).tobytes()
Image.open('demo/sample.png').convert('RGB').save('meta.jpg', quality=90, icc_profile=p, dpi=(240, 240), subsampling=0)"
  exiftool -q -overwrite_original -Make=Canon -DateTimeOriginal="2024:05:06 07:08:09" -GPSLatitude=48.85 \
    -GPSLatitudeRef=N -Keywords=paris -XMP:Subject=tower -Orientation#=6 -ExifImageWidth=320 -ExifImageHeight=240 meta.jpg
  tags="-Make -DateTimeOriginal -GPSLatitude -Keywords -Subject -Orientation -ProfileDescription -XResolution -ExifImageWidth"
  want=$(exiftool -s3 $tags meta.jpg)
  "$(dirname "$IMGE")/photo_example" meta.jpg c.jpg c.png || fail "photo_example (C99 through libimg.so)"
  for kept in kept.jpg kept.png c.jpg c.png; do
    [[ $kept == kept* ]] && { run gaussian-blur meta.jpg -o $kept; expect_rc 0 "gaussian-blur to $kept"; }
    [ "$(exiftool -s3 $tags $kept)" = "$want" ] || fail "metadata of $kept: $(exiftool -s3 $tags $kept | tr '\n' '|') for $(echo "$want" | tr '\n' '|')"
  done
  run drop-shadow meta.jpg -o shadow.jpg; [ "$(exiftool -s3 -ExifImageWidth shadow.jpg)" = 352 ] || fail "EXIF width after drop-shadow"
  [ "$(/usr/bin/python3 -c "from PIL import Image, JpegImagePlugin as J; print(J.get_sampling(Image.open('kept.jpg')))")" = 0 ] || fail "4:4:4 JPEG re-encoded with other sampling"
fi
if command -v cjpeg >/dev/null; then
  run apply-lut demo/sample.png -o s.pnm; run apply-lut s.pnm -o ours.jpg --quality 75
  cjpeg -quality 75 -optimize s.pnm > cjpeg.jpg; same ours.jpg cjpeg.jpg "JPEG writer against cjpeg -optimize"
fi
# Every EXIF orientation against Pillow: turns, flips and crops of the picture
# as shown, negative keeping the orientation, --auto-orient.
if /usr/bin/python3 -c "import PIL" 2>/dev/null; then
  mkdir oracle && (cd oracle && /usr/bin/python3 "$HERE/orient_oracle.py" "$IMGE") || fail "orientation oracle"
fi

# ---- geometry, the histogram plot, the manual page ---------------------------------
# Each row: exit code | the file to describe (must be absent after a failure) |
# what `info` says of it (size and type, orientation, EXIF thumbnail), or for a
# failure a part of the message | the command. J is the demo's JPEG: 320 x 240
# stored, orientation 6 (shown 240 x 320), a 160 x 120 thumbnail.
describe() { run info "$1"; local o t; o=$(sed -n 's/^orientation: \([0-9]\).*/\1/p' "$T/.out")
  t=$(sed -n 's/^EXIF thumbnail: //p' "$T/.out"); echo "${out%%$'\n'*}, o${o:--}, thumb ${t:--}"; }
printf 'P5\n3 2\n255\n\001\002\003\004\005\006' > g32.pgm
while IFS='|' read -r want_rc file want cmd; do
  rm -f "$file"; run ${cmd//J/demo/sample-exif.jpg} -q; expect_rc "$want_rc" "$cmd"
  if [ "$want_rc" -ne 0 ]; then expect_err "$want" "$cmd"; absent "$file" "$cmd"; continue; fi
  got=$(describe "$file"); [ "$got" = "$want" ] || fail "$cmd: $got, expected $want"
done <<ROWS
0|geo.jpg|320 x 240 RGB, o6, thumb 160 x 120|convert J -o geo.jpg
0|geo.png|320 x 240 RGB, o1, thumb -|rotate --by 90 J -o geo.png
0|geo.png|240 x 320 RGB, o1, thumb -|rotate --by 180 J -o geo.png
0|geo.png|240 x 320 RGB, o1, thumb -|flip --direction vertical J -o geo.png
0|geo.png|100 x 50 RGB, o1, thumb -|crop --x 10 --y 20 --width 100 --height 50 J -o geo.png
0|geo.png|40 x 320 RGB, o1, thumb -|crop --x 200 --width 100 --height 400 J -o geo.png
0|geo.png|120 x 160 RGB, o1, thumb -|resize --width 120 J -o geo.png
0|geo.png|90 x 120 RGB, o1, thumb -|resize --height 120 J -o geo.png
0|geo.png|72 x 96 RGB, o1, thumb -|resize --scale 30 J -o geo.png
0|geo.png|150 x 200 RGB, o1, thumb -|resize --fit 200x200 J -o geo.png
0|geo.png|50 x 60 RGB, o1, thumb -|resize --width 50 --height 60 --auto-orient J -o geo.png
0|geo.png|2 x 4 colour-mapped (4 palette entries, with alpha), o-, thumb -|rotate --by 270 $DATA/palette.png -o geo.png
0|geo.png|8 x 4 RGBA, o-, thumb -|resize --scale 200 $DATA/palette.png -o geo.png
0|geo.pgm|2 x 3 grey, o-, thumb -|rotate g32.pgm -o geo.pgm
0|plot.png|592 x 596 RGB, o-, thumb -|histogram --plot plot.png J
2|geo.png|give --width and/or --height, or --scale, or --fit|resize J -o geo.png
2|geo.png|give --width and/or --height, or --scale, or --fit|resize --width 10 --scale 50 J -o geo.png
2|geo.png|expected WIDTHxHEIGHT|resize --fit 200 J -o geo.png
1|geo.png|at most 65535 a side|resize --height 65535 g32.pgm -o geo.png
2|geo.png|expected one of 90, 180, 270|rotate --by 45 J -o geo.png
2|geo.png|crop needs --width|crop --height 5 J -o geo.png
1|geo.png|the corner 240,0 lies outside the 240 x 320 picture|crop --x 240 --width 5 --height 5 J -o geo.png
1|geo.png|the corner 0,320 lies outside the 240 x 320 picture|crop --y 320 --width 5 --height 5 J -o geo.png
2|plot.gif|cannot tell the format|histogram --plot plot.gif J
ROWS
# Exact pixels of the 3 x 2 grey picture 1 2 3 / 4 5 6 after each geometry step
# and a 3 x 3 kernel that only doubles the centre.
while IFS='|' read -r want cmd; do
  run $cmd g32.pgm -o px.pgm; expect_rc 0 "$cmd"; n=$(($(wc -c < px.pgm) - $(wc -c < g32.pgm) + 6))
  [ "$(tail -c $n px.pgm | od -An -tu1 -v | tr -s ' \n' ' ' | sed 's/^ //;s/ $//')" = "$want" ] || fail "$cmd on 1 2 3 / 4 5 6 gives $(tail -c $n px.pgm | od -An -tu1 -v)"
done <<'ROWS'
4 1 5 2 6 3|rotate --by 90
6 5 4 3 2 1|rotate --by 180
3 6 2 5 1 4|rotate --by 270
3 2 1 6 5 4|flip --direction horizontal
4 5 6 1 2 3|flip --direction vertical
2 3 5 6|crop --x 1 --width 5 --height 5
1 2 3 4 5 6|convert
2 4 6 8 10 12|convolve --kernel 0,0,0,0,2,0,0,0,0 --divisor 1
ROWS
# The plot of a picture that is half 0, half 200: in every panel, full bars at
# 0 and 200 and nothing between (bars are 2 pixels a value from x = 64).
if /usr/bin/python3 -c "import PIL" 2>/dev/null; then
  printf 'P5\n2 1\n255\n\000\310' > two.pgm; run histogram --plot two.png two.pgm; expect_rc 0 "histogram --plot"
  /usr/bin/python3 -c "from PIL import Image
im = Image.open('two.png').convert('RGB'); bg = im.getpixel((64 + 2 * 100, 42))
for top in (42, 184, 326, 468):  # the first row of each panel's plot area
    assert im.getpixel((64, top)) != bg and im.getpixel((64 + 400, top)) != bg and im.getpixel((64 + 200, top + 99)) == bg, top" \
    || fail "histogram plot bars"
fi
# Resizing a photograph keeps its metadata; the EXIF size is rewritten, the
# orientation is 1 (meta.jpg: stored 320 x 240, orientation 6).
if [ -f meta.jpg ] && command -v exiftool >/dev/null; then
  tags="-Make -DateTimeOriginal -GPSLatitude -Keywords -Subject -ProfileDescription -XResolution"
  run resize --width 100 meta.jpg -o small.jpg; expect_rc 0 "resize a photograph"
  [ "$(exiftool -s3 $tags small.jpg)" = "$(exiftool -s3 $tags meta.jpg)" ] || fail "resize lost metadata: $(exiftool -s3 $tags small.jpg | tr '\n' '|')"
  [ "$(exiftool -s3 -n -Orientation -ExifImageWidth -ExifImageHeight small.jpg | tr '\n' ' ')" = "1 100 133 " ] || fail "EXIF after resize: $(exiftool -s3 -n -Orientation -ExifImageWidth -ExifImageHeight small.jpg | tr '\n' ' ')"
fi
# The manual page lists every operation and renders without warnings.
run --man; expect_rc 0 "--man"
for op in $ops; do grep -qxF ".B ${op//-/\\-}" "$T/.out" || fail "the manual page lacks $op"; done
if command -v groff >/dev/null; then
  [ -z "$(groff -man -ww -z "$T/.out" 2>&1)" ] || fail "groff warns about the manual page: $(groff -man -ww -z "$T/.out" 2>&1 | head -n 3)"
fi

# No scratch files are left behind by any of the failures.
leftovers=$(find . -name '.*.??????' | head -n 3)
[ -z "$leftovers" ] || fail "scratch files left: $leftovers"

# ---- pipelines, -j, safe outputs, standard input and output --------------------------
# Rows: exit code | text stderr must hold (- none) | check run afterwards (- none) | command line.
mkdir pipe && cd pipe
cp ../demo/sample-exif.jpg a.jpg; cp ../demo/sample.png b.png; cp ../grey.pgm g.pgm; mkdir x y
cp g.pgm x/s.pgm; cp ../rgb.ppm y/s.pgm; cp a.jpg a.orig; cp b.png b.orig; cp g.pgm g.orig
# The route one step at a time through PNG files, for the pipeline to equal.
"$IMGE" gaussian-blur --size 7 a.jpg -o r1.png && "$IMGE" sharpen --percentage 40 r1.png -o r2.png &&
  "$IMGE" drop-shadow r2.png -o r3.png && "$IMGE" negative r3.png -o route.jpg || fail "step-by-step route"
"$IMGE" negative "$DATA/palette.png" -o p1.png && "$IMGE" blur p1.png -o route-pal.png || fail "palette route"
"$IMGE" negative g.pgm -o neg.pgm && "$IMGE" colors neg.pgm >neg-colors.txt || fail "report route"
while IFS='|' read -r want msg check cmd; do
  eval "run $cmd"; expect_rc "$want" "$cmd"
  [ "$msg" = - ] || expect_err "$msg" "$cmd"
  [ "$check" = - ] || eval "$check" || fail "$cmd: $check"
done <<'ROWS'
0|-|same out/a.jpg route.jpg|gaussian-blur --size 7 + sharpen --percentage 40 + drop-shadow + negative a.jpg b.png -o out/
0|-|same pal.png route-pal.png|negative + blur "$DATA/palette.png" -o pal.png
0|-|[ "$out" = "$(cat neg-colors.txt)" ]|negative + colors g.pgm
2|colors prints a report: it can only end a pipeline|-|colors + negative g.pgm -o c1.png
2|jpeg-flip changes a JPEG file losslessly and cannot be part of a pipeline|-|negative + jpeg-flip a.jpg -o c2.jpg
2|sharpen: --percentage 'x'|absent c3.png|negative + sharpen --percentage x g.pgm -o c3.png
2|negative: 'g.pgm' before '+'|-|negative g.pgm + blur -o c4.png
2|'+' at the end|-|negative +
2|unknown operation 'nope'|-|negative + nope g.pgm
0|-|[ -s g-negative+blur.pgm ]|negative + blur g.pgm
0|-|[[ "$out" == *"Usage: imge blur"* ]]|negative + blur --help
2|would replace the input itself|same a.jpg a.orig|negative a.jpg b.png -o .
2|would replace the input itself|same g.pgm g.orig|negative g.pgm -o ./g.pgm
2|would overwrite the input y/s.pgm|same y/s.pgm ../rgb.ppm|negative x/s.pgm y/s.pgm -o y/
2|would both be written to c5/s.pgm|absent c5|negative x/s.pgm y/s.pgm -o c5
2|would overwrite the input g-negative.pgm|-|negative g.pgm g-negative.pgm
2|names a file, but there are 2 inputs|absent many.png|negative g.pgm b.png -o many.png
2|give --in-place|same a.jpg a.orig|jpeg-rotate --by 90 a.jpg -o a.jpg
0|-|same a.jpg a.orig|jpeg-rotate --by 90 a.jpg
0|-|[[ "$(bytes g.pgm)" == *" 255 55 0" ]]|negative --in-place g.pgm
2|--format needs -o|-|negative --in-place --format png g.pgm
2|-j '0': out of range|-|negative -j 0 g.pgm -o c6.pgm
0|-|cmp -s "$T/.out" neg.pgm|negative - --format pnm <g.orig
0|-|cmp -s "$T/.out" ../grey.pgm|apply-lut - -o - <g.orig
1|imge: standard input: |-|negative - -o c7.png <../pic.gif
2|must be the only input|-|negative - g.pgm -o c8/
ROWS
# -j 2 equals -j 1 on a mixed batch with noise (its draws change every second:
# a pair of runs that crossed a second is tried again).
cp a.orig a.orig.jpg; cp g.orig g.orig.pgm
for try in 1 2 3; do
  t0=$(date +%s); run noise + sharpen -j 1 a.orig.jpg b.png g.orig.pgm x/s.pgm -o j1/; expect_rc 0 "-j 1"
  run noise + sharpen -j 2 a.orig.jpg b.png g.orig.pgm x/s.pgm -o j2/; expect_rc 0 "-j 2"; [ "$(date +%s)" = "$t0" ] && break
done
for f in a.orig.jpg b.png g.orig.pgm s.pgm; do same "j1/$f" "j2/$f" "-j 2 against -j 1"; done
# Files saved on two threads at once get the usual mode (the umask is read, not set).
mode=$(printf '%o' $((0666 & ~0$(umask))))
for f in j1/* j2/*; do [ "$(stat -c %a "$f")" = "$mode" ] || fail "$f has mode $(stat -c %a "$f"), not $mode"; done
run colors -j 2 a.orig.jpg b.png g.orig.pgm; [ "$(cut -d: -f1 <<<"$out" | tr '\n' ' ')" = "a.orig.jpg b.png g.orig.pgm " ] || fail "-j 2 reports not in input order: $out"
same b.png b.orig "an input changed"
cd ..

if [ $failures -ne 0 ]; then
  echo "$failures check(s) failed"
  exit 1
fi
echo "all tool checks passed"
