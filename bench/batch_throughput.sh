#!/usr/bin/env bash
# Batch throughput of the imge tool: one operation over a folder of
# photographs with -j 1 and -j N, beside ImageMagick's mogrify and a vips
# loop on the same files (each skipped when it is not installed).
#
# Usage: bench/batch_throughput.sh path/to/imge [FILES] [MIN_MP] [MAX_MP] [JOBS]
#   FILES   how many JPEGs to make (default 64), MIN_MP..MAX_MP their sizes
#   in megapixels (default 2..8), JOBS the -j to compare with -j 1 (default:
#   the number of cores).
# The pictures are made by Python/Pillow (smooth gradients and noise, so that
# they compress like photographs), with a fixed seed. Every run writes into a
# fresh folder; wall time and CPU seconds (user + system) are printed, and
# the -j N results are compared byte for byte with the -j 1 ones.
# PEER_FILES=N limits the peers (much slower for ImageMagick) to the first N
# files; Mpixel/s stays comparable. BENCH_DIR=DIR keeps the pictures in DIR
# between runs (made when DIR/in is missing).
set -eu
IMGE=$(cd "$(dirname "$1")" && pwd)/$(basename "$1")
FILES=${2:-64}
MIN_MP=${3:-2}
MAX_MP=${4:-8}
JOBS=${5:-$(nproc)}
if [ -n "${BENCH_DIR:-}" ]; then
  mkdir -p "$BENCH_DIR"
  W=$(cd "$BENCH_DIR" && pwd)
  rm -rf "$W/j1" "$W/jn" "$W/mg" "$W/vp"
else
  W=$(mktemp -d)
  trap 'rm -rf "$W"' EXIT
fi
cd "$W"
mkdir -p in
[ -n "$(ls in)" ] || /usr/bin/python3 - "$FILES" "$MIN_MP" "$MAX_MP" <<'EOF'
import random, sys
from PIL import Image, ImageFilter
n, lo, hi = int(sys.argv[1]), float(sys.argv[2]), float(sys.argv[3])
rng = random.Random(18)
for i in range(n):
    mp = lo + (hi - lo) * i / max(n - 1, 1)
    w = int((mp * 1e6 * 4 / 3) ** 0.5) // 8 * 8
    h = int(mp * 1e6 / w) // 8 * 8
    small = Image.effect_noise((w // 16, h // 16), 60).convert("RGB").resize((w, h), Image.BICUBIC)
    grain = Image.effect_noise((w, h), 12).convert("RGB")
    pic = Image.blend(small, grain, 0.15)
    pic.save(f"in/p{i:02d}.jpg", quality=rng.choice([85, 90, 92]))
EOF
megapixels() {
  /usr/bin/python3 -c "
import sys; from PIL import Image
print(round(sum(Image.open(f).size[0] * Image.open(f).size[1] for f in sys.argv[1:]) / 1e6, 1))" "$@"
}
mp=$(megapixels in/*.jpg)
echo "$FILES JPEGs, $mp Mpixel in all; gaussian blur over 11 x 11, JPEG quality 90"
echo "load average before: $(cut -d' ' -f1-3 /proc/loadavg)"
printf '%-34s %9s %9s %12s\n' "run" "wall s" "CPU s" "Mpixel/s"

# measure NAME CMD...: wall and CPU seconds of CMD.
measure() {
  local name=$1
  shift
  /usr/bin/time -f "%e %U %S" -o "$W/.time" "$@" >/dev/null 2>"$W/.err" || { echo "$name failed: $(cat "$W/.err")"; return; }
  read -r wall user sys <"$W/.time"
  awk -v n="$name" -v w="$wall" -v u="$user" -v s="$sys" -v mp="$mp" \
    'BEGIN { printf "%-34s %9.2f %9.2f %12.1f\n", n, w, u + s, mp / w }'
}

measure "imge -j 1" "$IMGE" gaussian-blur --size 11 -j 1 -q in/*.jpg -o j1/
measure "imge -j $JOBS" "$IMGE" gaussian-blur --size 11 -j "$JOBS" -q in/*.jpg -o jn/
for f in in/*.jpg; do
  cmp -s "j1/${f#in/}" "jn/${f#in/}" || { echo "DIFFERENT: -j 1 and -j $JOBS give other bytes for $f"; exit 1; }
done
echo "(-j 1 and -j $JOBS results identical)"

PEER_FILES=${PEER_FILES:-$FILES}
peers=$(ls in/*.jpg | head -n "$PEER_FILES")
mp=$(megapixels $peers)
echo "peers on $PEER_FILES files, $mp Mpixel:"
if command -v mogrify >/dev/null; then
  mkdir mg
  # An 11 x 11 kernel: radius 5, sigma as imge's for size 11 (n / sqrt(2 ln 255) = 3.3).
  measure "mogrify -gaussian-blur 5x3.3" mogrify -path mg -quality 90 -gaussian-blur 5x3.3 $peers
else
  echo "mogrify: not installed, skipped"
fi
if command -v vips >/dev/null; then
  mkdir vp
  cat >vips_loop.sh <<'EOF'
for f in "$@"; do vips gaussblur "$f" "vp/${f#in/}[Q=90]" 3.3 --min-ampl 0.3 || exit 1; done
EOF
  measure "vips loop (gaussblur 3.3)" bash vips_loop.sh $peers
else
  echo "vips: not installed, skipped"
fi
echo "load average after: $(cut -d' ' -f1-3 /proc/loadavg)"
