#!/usr/bin/python3
# Checks imge's orientation handling against Pillow's ImageOps.exif_transpose
# on generated 45 x 29 JPEG files (partial 16-pixel iMCUs on both sides), for
# all eight EXIF orientations: what a viewer shows after each command must be
# the shown source turned, flipped, cut, resized or negated as asked (a
# lossless crop is found where it fits best, its corner being moved to the
# block grid).
# Usage: orient_oracle.py path/to/imge   (run in a scratch folder)
import subprocess
import sys

from PIL import Image, ImageChops, ImageOps

imge = sys.argv[1]
T = Image.Transpose
src = Image.new("RGB", (45, 29))
src.putdata([((x * 5) % 256, (y * 8) % 256, ((x + y) * 3) % 256) for y in range(29) for x in range(45)])
cases = [  # command, what happens to the shown picture
    (["jpeg-rotate", "--by", "90"], lambda im: im.transpose(T.ROTATE_270)),
    (["jpeg-rotate", "--by", "180"], lambda im: im.transpose(T.ROTATE_180)),
    (["jpeg-rotate", "--by", "270"], lambda im: im.transpose(T.ROTATE_90)),
    (["jpeg-flip", "--direction", "horizontal"], lambda im: im.transpose(T.FLIP_LEFT_RIGHT)),
    (["jpeg-flip", "--direction", "vertical"], lambda im: im.transpose(T.FLIP_TOP_BOTTOM)),
    (["jpeg-crop", "--x", "16", "--y", "16", "--width", "8", "--height", "8"], None),
    (["rotate", "--by", "90"], lambda im: im.transpose(T.ROTATE_270)),
    (["flip", "--direction", "vertical"], lambda im: im.transpose(T.FLIP_TOP_BOTTOM)),
    (["crop", "--x", "5", "--y", "7", "--width", "20", "--height", "11"], lambda im: im.crop((5, 7, 25, 18))),
    (["resize", "--width", "20"], lambda im: im.resize((20, round(20 * im.height / im.width)), Image.Resampling.BOX)),
    (["negative"], ImageOps.invert),
    (["negative", "--auto-orient"], ImageOps.invert),
]
failures = 0


def shown(path):
    return ImageOps.exif_transpose(Image.open(path)).convert("RGB")


def difference(want, got, anywhere):
    """Smallest mean difference over the places a trimmed (or, anywhere, a
    cut) result can take."""
    best = None
    for dx in range(want.width - got.width + 1) if anywhere else {0, want.width - got.width}:
        for dy in range(want.height - got.height + 1) if anywhere else {0, want.height - got.height}:
            if dx < 0 or dy < 0:
                continue
            diff = ImageChops.difference(want.crop((dx, dy, dx + got.width, dy + got.height)), got)
            mean = sum(sum(p) for p in diff.getdata()) / (3 * got.width * got.height)
            best = mean if best is None else min(best, mean)
    return best


for o in range(1, 9):
    exif = Image.Exif()
    exif[0x0112] = o
    src.save(f"o{o}.jpg", exif=exif.tobytes(), quality=95)
    for cmd, op in cases:
        out = f"out{o}.jpg"
        r = subprocess.run([imge] + cmd + [f"o{o}.jpg", "-o", out, "-q"], capture_output=True, text=True)
        want, got = shown(f"o{o}.jpg"), shown(out) if r.returncode == 0 else None
        want = op(want) if op else want
        orientation = Image.open(out).getexif().get(0x0112, 1) if got else None
        keeps = cmd == ["negative"]
        d = difference(want, got, op is None) if got else None
        if r.returncode or orientation != (o if keeps else 1) or d is None or d > 3:
            print(f"FAIL: orientation {o}, {' '.join(cmd)}: exit {r.returncode} {r.stderr.strip()} "
                  f"orientation {orientation}, size {got.size if got else None} for {want.size}, mean difference {d}")
            failures += 1
sys.exit(1 if failures else 0)
