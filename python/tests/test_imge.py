import threading

import cv2
import numpy as np
import pytest

import imge

RNG = np.random.default_rng(7)
PIC = RNG.integers(0, 256, (37, 53, 3), dtype=np.uint8)

CALLS = [  # (function, arguments) for every bound operation on a picture
    ("negative", ()), ("brightness", (20,)), ("contrast", (-30,)), ("gamma", (1.7,)),
    ("log_correction", ()), ("adjust", (10, 10, 1.2)), ("normalize", ()), ("equalize", ()),
    ("equalize_on_luminance", ()), ("automatic_contrast", ()), ("automatic_levels", ()),
    ("balance", ((200, 128, 90),)), ("convolve", ([[0, 1, 0], [1, 4, 1], [0, 1, 0]], 8)),
    ("enhance_detail", ()), ("enhance_focus", ()), ("focus_restoration", ()), ("edge_detect_light", ()),
    ("edge_detect_medium", ()), ("edge_detect_heavy", ()), ("emboss", ()), ("emboss_more", ()),
    ("sharpen", (50,)), ("blur", (50,)), ("soften", (50,)), ("average", (4,)), ("reduce_noise", ()),
    ("minimum", (3,)), ("maximum", (3,)), ("median_box", (5,)), ("median_cross", (4,)),
    ("gaussian_blur", (6,)), ("swap_colors", (1,)), ("adjust_hls", (10, 5, -5)), ("sepia", (80,)),
    ("sepia_ex", (60, (200, 150, 100))), ("draw_point", (5, 5, 3, (255, 0, 0))),
    ("draw_line", (0, 0, 30, 20, 1, (0, 255, 0), 1)), ("draw_polyline", ([(0, 0), (10, 30), (40, 5)], 2, (9, 9, 9))),
    ("draw_rectangle", (3, 4, 20, 10, (1, 2, 3))), ("draw_circle", (20, 20, 8, (4, 5, 6))),
    ("draw_polygon", ([(0, 0), (30, 5), (10, 30)], (7, 8, 9))),
]


@pytest.mark.parametrize("name,args", CALLS)
def test_every_operation_new_array_and_in_place(name, args):
    fn = getattr(imge, name)
    before = PIC.copy()
    r = fn(PIC, *args)
    assert r.dtype == np.uint8 and r.shape == PIC.shape and (PIC == before).all()
    view = np.zeros((37, 60, 3), np.uint8)[:, :53]          # strided rows
    view[...] = PIC
    assert (fn(view, *args, out=view) == r).all() and (view == r).all()


def test_stated_values_and_colour_count():
    assert (imge.negative(PIC) == 255 - PIC).all()
    assert (imge.swap_colors(PIC, 1) == PIC[..., ::-1]).all()
    assert imge.get_number_of_colors_used(np.zeros((4, 4, 3), np.uint8)) == 1
    assert imge.__version__.count(".") == 2


@pytest.mark.parametrize("bad,exc", [
    (np.zeros((4, 4), np.int16), TypeError), (np.zeros((4, 4, 2), np.uint8), TypeError),
    (np.zeros((4,), np.uint8), TypeError), (np.zeros((4, 8, 3), np.uint8)[:, ::2], TypeError),
])
def test_refused_shapes(bad, exc):
    with pytest.raises(exc):
        imge.gaussian_blur(bad, 3)


def test_library_refusal_raises_error_and_changes_nothing():
    a = PIC.copy()
    with pytest.raises(imge.Error) as e:
        imge.gaussian_blur(a, 0, out=a)
    assert e.value.code == 50 and isinstance(e.value, ValueError) and (a == PIC).all()


@pytest.mark.parametrize("size", [3, 5])
def test_cv2_cross_checks(size):
    g = RNG.integers(0, 256, (40, 50), dtype=np.uint8)
    k = np.ones((size, size), np.uint8)
    assert (imge.minimum(g, size) == cv2.erode(g, k, borderType=cv2.BORDER_REPLICATE)).all()
    assert (imge.maximum(g, size) == cv2.dilate(g, k, borderType=cv2.BORDER_REPLICATE)).all()
    assert (imge.median_box(g, size) == cv2.medianBlur(g, size)).all()
    lut = (255 - np.arange(256)).astype(np.uint8)
    assert (imge.negative(PIC) == cv2.LUT(PIC, lut)).all()


def test_gil_released_two_threads():
    big = RNG.integers(0, 256, (600, 800, 3), dtype=np.uint8)
    want = imge.gaussian_blur(big, 9)
    got = [None, None]

    def work(i):
        got[i] = imge.gaussian_blur(big, 9)
    ts = [threading.Thread(target=work, args=(i,)) for i in range(2)]
    [t.start() for t in ts]
    [t.join() for t in ts]
    assert all((g == want).all() for g in got)
