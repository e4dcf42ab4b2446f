"""libimge on NumPy arrays: uint8 pictures H x W (grey), H x W x 3 (RGB), H x W x 4 (RGBA),
and colour-mapped pictures as pairs (indices H x W, palette N x 3)."""
from ._imge import *  # noqa: F401,F403
from ._imge import Error, __version__  # noqa: F401
