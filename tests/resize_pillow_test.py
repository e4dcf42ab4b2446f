"""imfResize against Pillow's Image.resize with the same filters: BOX where both
sides shrink (area averaging), BICUBIC (Catmull-Rom) where both grow; random
grey, RGB and RGBA pictures, whole and fractional factors. Byte-exact. Alpha is
a plane like the others here (Pillow premultiplies RGBA), so RGBA is checked
against Pillow plane by plane.
Usage: resize_pillow_test.py path/to/libimg.so"""
import ctypes as C
import random
import sys

import numpy as np
from PIL import Image


class ImfBitmap(C.Structure):
    _fields_ = [("Width", C.c_int32), ("Height", C.c_int32), ("BytesPerLine", C.c_int32),
                ("Type", C.c_uint16), ("BytesPerPixel", C.c_uint16), ("BitsPerComponent", C.c_uint16),
                ("ComponentsPerPixel", C.c_uint16), ("Pack", C.c_int16), ("Origin", C.c_uint16),
                ("Xdpi", C.c_int32), ("Ydpi", C.c_int32), ("ColorUsed", C.c_int16),
                ("TransparentIndex", C.c_int16), ("ColorMap", C.c_void_p), ("Data", C.POINTER(C.c_uint8)),
                ("Metadata", C.c_void_p), ("Comment", C.c_char_p), ("Xoffset", C.c_int32),
                ("Yoffset", C.c_int32), ("Name", C.c_char_p)]


lib = C.CDLL(sys.argv[1])
lib.imfAllock.argtypes = [C.POINTER(ImfBitmap)] + [C.c_int32] * 4
lib.imfResize.argtypes = [C.POINTER(ImfBitmap), C.POINTER(ImfBitmap)] + [C.c_int32] * 3
lib.imfFree.argtypes = [C.POINTER(ImfBitmap)]
TYPES = {1: (0x0002, "L"), 3: (0x0010, "RGB"), 4: (0x0020, "RGBA")}


def to_array(b, channels):
    rows = np.ctypeslib.as_array(b.Data, shape=(b.Height * b.BytesPerLine,)).reshape(b.Height, b.BytesPerLine)
    return rows[:, :b.Width * channels].reshape(b.Height, b.Width, channels).squeeze(-1 if channels == 1 else ()).copy()


def resize(a, w, h):
    channels = 1 if a.ndim == 2 else a.shape[2]
    src, dst = ImfBitmap(), ImfBitmap()
    assert lib.imfAllock(C.byref(src), TYPES[channels][0], 1, a.shape[1], a.shape[0])
    rows = np.ctypeslib.as_array(src.Data, shape=(src.Height * src.BytesPerLine,)).reshape(src.Height, -1)
    rows[:, :] = a.reshape(a.shape[0], -1)
    assert lib.imfResize(C.byref(src), C.byref(dst), w, h, 0) == 0
    out = to_array(dst, channels)
    lib.imfFree(C.byref(src))
    lib.imfFree(C.byref(dst))
    return out


rng = random.Random(5)
failures = 0
cases = [  # (width, height, new width, new height)
    (40, 30, 10, 6), (41, 29, 10, 7), (64, 48, 3, 2), (37, 23, 36, 22), (9, 7, 1, 1),   # shrinking
    (10, 6, 40, 30), (7, 5, 23, 11), (3, 2, 8, 9), (1, 1, 5, 4), (16, 9, 17, 10),       # growing
]
for w, h, nw, nh in cases:
    for channels in (1, 3, 4):
        shape = (h, w) if channels == 1 else (h, w, channels)
        a = np.array([rng.randrange(256) for _ in range(int(np.prod(shape)))], np.uint8).reshape(shape)
        f = Image.BOX if nw <= w else Image.BICUBIC
        if channels == 4:
            want = np.dstack([np.array(Image.fromarray(a[:, :, c]).resize((nw, nh), f)) for c in range(4)])
        else:
            want = np.array(Image.fromarray(a, TYPES[channels][1]).resize((nw, nh), f))
        got = resize(a, nw, nh)
        if not np.array_equal(got, want):
            failures += 1
            print("differs: %dx%d -> %dx%d, %d channels, largest difference %d" %
                  (w, h, nw, nh, channels, np.abs(got.astype(int) - want).max()))
print("%d passed, %d failed" % (len(cases) * 3 - failures, failures))
sys.exit(1 if failures else 0)
