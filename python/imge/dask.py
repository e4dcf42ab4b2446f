"""imge on chunked dask arrays and on batches of files over a dask.distributed cluster.

    import dask.array as da, imge.dask
    big = da.from_array(picture, chunks=(1000, 1000, 3))
    out = imge.dask.apply(big, "gaussian_blur", 7).compute()
"""
import functools
import operator
import os

import numpy as np

import imge

# Neighbourhood filters: the side N of the window as a function of the
# arguments. An output pixel reads rows and columns from N / 2 (rounded down)
# before it to N - 1 - N / 2 after it, so an overlap of N / 2 on every side
# covers even sizes too.
_NEIGHBOURHOOD = {
    **{n: (lambda size, *_: int(size)) for n in
       ("gaussian_blur", "average", "minimum", "maximum", "median_box", "median_cross")},
    **{n: (lambda *_: 3) for n in
       ("enhance_detail", "enhance_focus", "focus_restoration", "edge_detect_light", "edge_detect_medium",
        "edge_detect_heavy", "emboss", "emboss_more", "sharpen", "blur", "soften", "convolve_index", "edge")},
    "reduce_noise": lambda *_: 5,
    "convolve": lambda kernel, *_: len(kernel),
}
# Operations pixel by pixel: chunk by chunk. (Noise is drawn per chunk: as
# random as the single call, but not the same draws.)
_POINT = {"negative", "brightness", "contrast", "gamma", "log_correction", "adjust", "balance",
          "swap_colors", "adjust_hls", "sepia", "sepia_ex", "levels", "posterize", "solarize", "apply_lut",
          "contra_brightness", "gammasat", "desaturate", "adjust_shadow_highlight", "noise",
          "add_uniform_noise", "add_gaussian_noise", "add_laplacian_noise", "add_poisson_noise"}


def _reach(name, args):
    """Rows of context a neighbourhood filter reads on either side of a row."""
    return max(1, _NEIGHBOURHOOD[name](*args) // 2)


def _call(name, args, kwargs, b):
    comps = 1 if b.ndim == 2 else b.shape[2]
    if (b.ndim == 3 and b.strides[2] != 1) or b.strides[1] != comps or b.strides[0] < b.shape[1] * comps:
        # A chunk no bitmap can wrap as it lies (the broadcast chunks of
        # da.zeros, rows going backwards, columns first): filtered from a copy.
        b = np.ascontiguousarray(b)
    return getattr(imge, name)(b, *args, **kwargs)


# ---- statistics of the whole picture (first pass) ------------------------------

def _sum(parts):
    return functools.reduce(np.add, parts)


def _histogram(b):  # (the module's own functions do not pickle)
    return imge.create_all_histogram(b)


def histogram(darr):
    """imge.create_all_histogram of the whole dask array, lazily: the sum of
    the chunks' histograms (4 x 256 uint32: luminance, red, green, blue)."""
    import dask
    parts = [dask.delayed(_histogram)(b) for b in darr.to_delayed().ravel()]
    return dask.delayed(_sum)(parts)


def _colour_codes(b):
    b = np.asarray(b)
    if b.ndim == 2:
        return np.unique(b).astype(np.uint32)
    return np.unique(b[..., 0].astype(np.uint32) << 16 | b[..., 1].astype(np.uint32) << 8 | b[..., 2])


def count_colors(darr):
    """imge.get_count_colors of the whole dask array, lazily (a dask.delayed
    int): distinct colours (alpha not counted), merged over the chunks."""
    import dask
    parts = [dask.delayed(_colour_codes)(b) for b in darr.to_delayed().ravel()]
    return dask.delayed(lambda p: int(functools.reduce(np.union1d, p).size))(parts)


# Tables of the automatic corrections from the whole picture's histogram,
# with the library's formulas; channel k of a pixel is its byte k.
def _equalize_table(h):
    c = np.cumsum(h.astype(np.int64))
    rng = max(int(c[255] - c[0]), 1)
    return ((c - c[0]) * 255.0 / rng).astype(np.uint8)


def _stretch_table(low, high):
    i = np.arange(256)
    t = i if high == low else np.clip((255 * (i - low)) // max(high - low, 1), 0, 255)
    return np.where(i < low, 0, np.where(i > high, 255, t)).astype(np.uint8)


def _range(h, threshold):
    """First value whose count from below exceeds threshold, last whose count
    from above does (None when none does); the used range when they meet."""
    c, r = np.cumsum(h), np.cumsum(h[::-1])[::-1]
    lo = int(np.argmax(c > threshold)) if (c > threshold).any() else None
    hi = int(255 - np.argmax(r[::-1] > threshold)) if (r > threshold).any() else None
    if lo == hi or threshold < 0:
        nz = np.flatnonzero(h)
        if nz.size:
            lo, hi = int(nz[0]), int(nz[-1])
    return lo, hi


def _channels(hist, comps):
    return [hist[0]] if comps == 1 else [hist[1], hist[2], hist[3]]


def _tables(name, hist, comps, pixels):
    h = hist.astype(np.int64)
    if name == "equalize":
        return [_equalize_table(x) for x in _channels(h, comps)]
    if name == "equalize_on_luminance":
        return _equalize_table(h[0])
    if name == "normalize":
        return [_stretch_table(*_range(x, -1)) for x in _channels(h, comps)]
    if name == "automatic_levels":
        return [_stretch_table(*_range(x, pixels // 1000)) for x in _channels(h, comps)]
    lo, hi = _range(h[0], pixels // 1000)  # automatic_contrast: adjust with these
    lo = 255 if lo is None else lo
    hi = 0 if hi is None else hi
    return 128 - (hi + lo) // 2, (255 - (hi - lo)) // 2   # both sums are >= 0 here


def _apply_tables(name, b, t):
    if name == "equalize_on_luminance":
        return imge.apply_lut(b, t)
    if name == "automatic_contrast":
        return imge.adjust(b, t[0], t[1], 1.0)
    r = np.array(b, copy=True)
    if r.ndim == 2:
        return t[0][r]
    for k in range(3):  # byte 3 (alpha) is kept
        r[..., k] = t[k][b[..., k]]
    return r


def _mend(call, r, out, src, above, below):
    """A stripe filtered on its own (out, from the chunk src), its first and
    last r rows filtered again with the r rows of the neighbouring chunks
    above and below it (None at the picture's edges)."""
    if above is not None:
        out[:r] = call(np.concatenate([above, src[:2 * r]]))[r:2 * r]
    if below is not None:
        out[-r:] = call(np.concatenate([src[-2 * r:], below]))[r:2 * r]
    return out


def _stripes(darr, block, r):
    """A neighbourhood filter of reach r on chunks that span the whole width.
    Each stripe is filtered where it lies, without waiting for anything else;
    then its r rows next to each seam are filtered again with the neighbour's
    r rows, on the stripe's own worker. Only those r rows travel between
    workers (the general overlap copies every chunk with its borders), they
    are cut without waiting for any stripe, and the last step after a stripe
    needs no task on another worker."""
    from dask.array.core import Array
    from dask.base import tokenize
    from dask.highlevelgraph import HighLevelGraph, MaterializedLayer
    token = tokenize(darr, block, r)
    name = "imge-" + block.args[0] + "-" + token
    whole, edge = name + "-stripe", "imge-edge-" + token
    rest = (0,) * (darr.ndim - 1)
    count = len(darr.chunks[0])
    cuts, layer = {}, {}
    for i in range(count):
        src = (darr.name, i) + rest
        layer[(whole, i)] = (block, src)
        if i > 0:
            cuts[(edge, "top", i)] = (operator.getitem, src, slice(None, r))
        if i + 1 < count:
            cuts[(edge, "bottom", i)] = (operator.getitem, src, slice(-r, None))
        layer[(name, i) + rest] = (_mend, block, r, (whole, i), src, (edge, "bottom", i - 1) if i > 0 else None,
                                   (edge, "top", i + 1) if i + 1 < count else None)
    layers = {edge: MaterializedLayer(cuts, annotations={"priority": 1}), name: MaterializedLayer(layer)}
    deps = {edge: {darr.name}, name: {darr.name, edge}}
    layers.update(darr.dask.layers)
    deps.update(darr.dask.dependencies)
    return Array(HighLevelGraph(layers, deps), name, chunks=darr.chunks, dtype=np.uint8)


_TWO_PASS = {"equalize", "equalize_on_luminance", "normalize", "automatic_levels", "automatic_contrast"}


def apply(darr, name, *args, **kwargs):
    """Runs imge.<name>(block, *args) over the chunks of a uint8 dask array
    (H x W, H x W x 3 or H x W x 4) with the same result as the single call on
    the whole picture, lazily:
    - neighbourhood filters on chunks that span the whole width (stripes of
      rows, each at least the window's height) stripe by stripe, the rows at
      each seam redone from the neighbouring stripe; on other chunks with
      map_overlap (the picture's edges repeat the border pixel, as
      boundary="nearest" does);
    - point operations chunk by chunk (extract_channel drops the last axis);
    - equalize, equalize_on_luminance, normalize, automatic_levels and
      automatic_contrast in two passes: the histogram of all chunks, then its
      tables on every chunk.
    Other operations on the whole picture (drop_shadow, drawing, area=) raise
    ValueError; use histogram() and count_colors() for the statistics."""
    import dask
    fn = getattr(imge, name, None)
    if fn is None or name.startswith("_"):
        raise ValueError(f"imge has no operation {name!r}")
    if darr.dtype != np.uint8 or darr.ndim not in (2, 3) or (darr.ndim == 3 and darr.shape[2] not in (3, 4)):
        raise TypeError("imge.dask: pictures are uint8 H x W, H x W x 3 or H x W x 4 arrays")
    if darr.ndim == 3 and len(darr.chunks[2]) != 1:
        darr = darr.rechunk({2: -1})
    if "area" in kwargs or "out" in kwargs:
        raise ValueError("imge.dask.apply: area= and out= refer to one whole array; not on chunks")

    block = functools.partial(_call, name, args, kwargs)  # pickles by name

    if name in _POINT:
        return darr.map_blocks(block, dtype=np.uint8)
    if name == "extract_channel":
        if darr.ndim != 3:
            raise ValueError("imge.dask.apply: extract_channel takes an RGB or RGBA picture")
        return darr.map_blocks(block, dtype=np.uint8, drop_axis=2)
    if name in _NEIGHBOURHOOD:
        r = _reach(name, args)
        if len(darr.chunks[1]) == 1 and min(darr.chunks[0]) >= 2 * r:
            return _stripes(darr, block, r)
        depth = {0: r, 1: r}
        if darr.ndim == 3:
            depth[2] = 0
        # The outer edges are left to the library, which repeats the border pixel
        # exactly as boundary="nearest" would, without padding copies.
        return darr.map_overlap(block, depth=depth, boundary="none", trim=True, dtype=np.uint8)
    if name in _TWO_PASS:
        if args or kwargs:
            raise TypeError(f"imge.{name} takes no parameters")
        comps = 1 if darr.ndim == 2 else darr.shape[2]
        tables = dask.delayed(_tables)(name, histogram(darr), comps, darr.shape[0] * darr.shape[1])
        return darr.map_blocks(functools.partial(_apply_tables, name), tables, dtype=np.uint8)
    raise ValueError(f"imge.dask.apply: {name!r} depends on the whole picture in a way chunks cannot share; "
                     "compute the array and call imge directly")


# ---- pictures that stay in storage ------------------------------------------------

def _stored_stripe(read, write, height, y0, y1, r, name, args, kwargs):
    top, bottom = max(0, y0 - r), min(height, y1 + r)
    out = _call(name, args, kwargs, read(top, bottom))
    write(y0, out[y0 - top:y1 - top])
    return y1 - y0


def stripes(read, write, height, name, *args, rows=1024, **kwargs):
    """Runs imge.<name>(picture, *args) on a picture of height rows that stays
    in storage, one task per stripe of rows. Returns the tasks, lazily: a list
    of dask.delayed, each giving the number of rows it wrote
    (dask.compute(*tasks) or client.compute(tasks) runs them).

    read(top, bottom) returns rows top..bottom-1 as an array (a memory map of
    a raw file, a slice of an HDF5 or Zarr dataset, ...); write(top, block)
    stores the result's rows from top on. Both must pickle (module-level
    functions or functools.partial of them). A neighbourhood filter's task reads
    its stripe with the window's reach of rows above and below it, so the tasks
    share nothing and the result equals the single call byte for byte; point
    operations read just their stripe. Each worker holds about one stripe and
    its result at a time."""
    import dask
    try:
        rows = operator.index(rows)   # NumPy integers too
    except TypeError:
        rows = 0
    if rows < 1:
        raise ValueError("imge.dask.stripes: rows must be a positive integer")
    if name in _NEIGHBOURHOOD:
        r = _reach(name, args)
    elif name in _POINT:
        r = 0
    else:
        raise ValueError(f"imge.dask.stripes: {name!r} is not a neighbourhood filter or a point operation")
    return [dask.delayed(_stored_stripe, pure=False)(read, write, height, y, min(y + rows, height), r, name, args,
                                                     kwargs) for y in range(0, height, rows)]


# ---- workers for large pictures -----------------------------------------------------

# glibc's allocator, through the environment a worker starts with: large
# blocks from the heap rather than fresh mappings, one arena for every thread,
# and no trimming, so a freed result is reused by the next task.
_KEEP_MEMORY = {"MALLOC_MMAP_MAX_": 0, "MALLOC_ARENA_MAX": 1, "MALLOC_TRIM_THRESHOLD_": (1 << 31) - 1}
# The workers' statistical profiler and frequent health checks.
_QUIET = {"distributed.worker.profile.enabled": False, "distributed.admin.tick.interval": "1s",
          "distributed.admin.system-monitor.interval": "5s", "distributed.worker.memory.monitor-interval": "1s",
          "distributed.scheduler.work-stealing-interval": "1s"}


def worker_config():
    """Dask settings for workers that filter large pictures, for
    dask.config.set() before the workers start:

        with dask.config.set(imge.dask.worker_config()):
            cluster = distributed.LocalCluster(n_workers=2, threads_per_worker=1)

    - Freed memory is kept for the next task. Each result is otherwise a fresh
      mapping whose first touch faults page by page; a kept block costs
      nothing. A worker then stays at its highest memory use, which Dask
      reports as unmanaged memory.
    - The statistical profiler is off and the health checks run once a second,
      so that idle bookkeeping does not take time from the filters (with Dask's
      defaults two idle workers and their scheduler use about 13 % of one core).
    The rest of the workers' environment (thread limits) is kept."""
    import dask
    environ = dict(dask.config.get("distributed.nanny.pre-spawn-environ", {}), **_KEEP_MEMORY)
    return {"distributed.nanny.pre-spawn-environ": environ, **_QUIET}


def _pin(cpus):
    """Binds every thread of this process to cpus; returns them sorted."""
    for tid in os.listdir("/proc/self/task"):
        try:
            os.sched_setaffinity(int(tid), cpus)
        except ProcessLookupError:   # a thread that has just ended
            pass
    return sorted(cpus)


def _cpus():
    """The CPUs this worker's parent (its nanny) may run on: the worker's own
    set before any binding."""
    return sorted(os.sched_getaffinity(os.getppid()))


def pin_workers(client):
    """Binds each worker of the client's cluster to CPUs of its own: the
    workers on one machine share out the CPUs they may run on, as many each as
    they have threads (round the set again when there are more threads than
    CPUs). Unbound, two busy workers on two cores now and then share one
    while the other waits. Returns {worker address: [cpu, ...]}. Linux only;
    workers that are threads of one process (processes=False) raise
    ValueError."""
    workers = client.scheduler_info()["workers"]
    pids = client.run(os.getpid)
    if len(set(pids.values())) < len(pids):
        raise ValueError("imge.dask.pin_workers: the workers share a process; bind worker processes")
    by_host = {}
    for address in sorted(workers):
        by_host.setdefault(workers[address]["host"], []).append(address)
    pinned = {}
    for addresses in by_host.values():
        cpus = client.run(_cpus, workers=addresses[:1])[addresses[0]]
        k = 0
        for address in addresses:
            mine = {cpus[(k + i) % len(cpus)] for i in range(workers[address]["nthreads"])}
            k += workers[address]["nthreads"]
            pinned.update(client.run(_pin, mine, workers=[address]))
    return pinned


# ---- batches of files ------------------------------------------------------------

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
    writing out_dir/<name> in the format of its extension. Returns the written paths."""
    from dask.distributed import default_client
    client = client or default_client()
    os.makedirs(out_dir, exist_ok=True)
    futures = [client.submit(_run_one, p, list(pipeline), out_dir, pure=False) for p in paths]
    return client.gather(futures)
