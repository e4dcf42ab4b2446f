"""imge on chunked dask arrays and on batches of files over a dask.distributed cluster.

    import dask.array as da, imge.dask
    big = da.from_array(picture, chunks=(1000, 1000, 3))
    out = imge.dask.apply(big, "gaussian_blur", 7).compute()
"""
import functools
import os

import imge

# Neighbourhood filters: the reach in pixels as a function of the arguments.
# The overlap is taken symmetric and at least the whole window, which covers
# the asymmetric reach of even sizes; edges repeat the border pixel, as
# boundary "nearest" does.
_NEIGHBOURHOOD = {
    **{n: (lambda size, *_: int(size)) for n in
       ("gaussian_blur", "average", "minimum", "maximum", "median_box", "median_cross")},
    **{n: (lambda *_: 3) for n in
       ("enhance_detail", "enhance_focus", "focus_restoration", "edge_detect_light", "edge_detect_medium",
        "edge_detect_heavy", "emboss", "emboss_more", "sharpen", "blur", "soften", "reduce_noise")},
    "convolve": lambda kernel, *_: len(kernel),
}
# Operations pixel by pixel: chunk by chunk.
_POINT = {"negative", "brightness", "contrast", "gamma", "log_correction", "adjust", "balance",
          "swap_colors", "adjust_hls", "sepia", "sepia_ex"}


def _call(name, args, kwargs, b):
    return getattr(imge, name)(b, *args, **kwargs)


def apply(darr, name, *args, **kwargs):
    """Runs imge.<name>(block, *args) over the chunks of a uint8 dask array
    (H x W, H x W x 3 or H x W x 4) with the same result as the single call on
    the whole picture. Whole-picture operations (equalisation, automatic
    levels, colour count, drop shadow, drawing) are refused with ValueError."""
    fn = getattr(imge, name, None)
    if fn is None:
        raise ValueError(f"imge has no operation {name!r}")

    block = functools.partial(_call, name, args, kwargs)  # pickles by name

    if name in _POINT:
        return darr.map_blocks(block, dtype="uint8")
    if name in _NEIGHBOURHOOD:
        r = max(1, _NEIGHBOURHOOD[name](*args))
        depth = {0: r, 1: r}
        if darr.ndim == 3:
            depth[2] = 0
        return darr.map_overlap(block, depth=depth, boundary="nearest", trim=True, dtype="uint8")
    raise ValueError(f"imge.dask.apply: {name!r} depends on the whole picture; "
                     "compute the array and call imge directly")


def _run_one(path, pipeline, out_dir):
    a = imge.load(path)
    for step in pipeline:
        name, *args = step if isinstance(step, (tuple, list)) else (step,)
        a = getattr(imge, name)(a, *args)
    dst = os.path.join(out_dir, os.path.basename(path))
    imge.save(dst, a)
    return dst


def batch(paths, pipeline, out_dir, client=None):
    """Processes every file through pipeline ([("gaussian_blur", 7), ("negative",), ...]),
    one task per file on the dask.distributed client (the default client when None),
    writing out_dir/<name>. Returns the written paths."""
    from dask.distributed import default_client
    client = client or default_client()
    os.makedirs(out_dir, exist_ok=True)
    futures = [client.submit(_run_one, p, list(pipeline), out_dir, pure=False) for p in paths]
    return client.gather(futures)
