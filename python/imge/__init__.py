"""libimge on NumPy arrays: uint8 pictures H x W (grey), H x W x 3 (RGB), H x W x 4 (RGBA)."""
from ._imge import *  # noqa: F401,F403
from ._imge import Error, __version__  # noqa: F401

_transform_in_place = jpeg_lossless_transform  # noqa: F405


def jpeg_lossless_transform(src, dst, transform, flags=0):
    """Lossless transform of the JPEG file src written to dst (dst may be src):
    0 none, 1 rotate 90, 2 rotate 180, 3 rotate 270, 4 vertical flip,
    5 horizontal flip, 6 by its EXIF orientation; partial edge blocks are
    trimmed. flags is reserved (0). src is never changed when dst differs."""
    import os
    import shutil
    import tempfile
    if flags != 0:
        raise Error("bad parameters (code 50)", 50)  # noqa: F405
    if os.path.abspath(src) == os.path.abspath(dst):
        return _transform_in_place(dst, transform)
    fd, tmp = tempfile.mkstemp(dir=os.path.dirname(os.path.abspath(dst)) or ".", suffix=".jpg")
    os.close(fd)
    try:
        shutil.copyfile(src, tmp)
        _transform_in_place(tmp, transform)
        os.replace(tmp, dst)
    finally:
        if os.path.exists(tmp):
            os.unlink(tmp)
