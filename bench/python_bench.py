"""Python call overhead and Dask scaling of gaussian_blur.

Run: PYTHONPATH=build/python /usr/bin/python3 bench/python_bench.py [--no-dask]
(BENCH_CHUNK=rows,columns,3 sets the Dask chunks; default full-width stripes of 1125 rows).
"""
import ctypes
import glob
import os
import sys
import time

import cv2
import numpy as np

import imge


def best(f, n=3):
    t = []
    for _ in range(n):
        s = time.perf_counter()
        f()
        t.append(time.perf_counter() - s)
    return min(t)


class BMP(ctypes.Structure):
    _fields_ = [("Type", ctypes.c_uint16), ("Origin", ctypes.c_uint16), ("Width", ctypes.c_int32),
                ("Height", ctypes.c_int32), ("BytesPerLine", ctypes.c_uint32), ("LinePadding", ctypes.c_int16),
                ("BitsPerComponent", ctypes.c_uint16), ("ComponentsPerPixel", ctypes.c_uint16),
                ("BytesPerPixel", ctypes.c_uint16), ("Xdpi", ctypes.c_uint16), ("Ydpi", ctypes.c_uint16),
                ("TransparentIndex", ctypes.c_int16), ("Reserved", ctypes.c_int16), ("ColorUsed", ctypes.c_int32),
                ("ColorMap", ctypes.c_void_p), ("Data", ctypes.c_void_p), ("Comment", ctypes.c_void_p),
                ("MetaData", ctypes.c_void_p), ("XOffset", ctypes.c_int32), ("YOffset", ctypes.c_int32),
                ("Name", ctypes.c_void_p)]


def _read_block(path, shape, run, block_info=None):
    """One chunk of a raw H x W x 3 picture file, row by row (nothing else read or mapped)."""
    (y0, y1), (x0, x1), _ = block_info[None]["array-location"]
    b = np.empty((y1 - y0, x1 - x0, 3), np.uint8)
    with open(path, "rb", buffering=0) as f:
        for y in range(y0, y1):
            f.seek((y * shape[1] + x0) * 3)
            f.readinto(memoryview(b[y - y0]).cast("B"))
    return b


def _write_block(b, path, shape, block_info=None):
    (y0, y1), (x0, x1), _ = block_info[0]["array-location"]
    with open(path, "r+b", buffering=0) as f:
        for y in range(y0, y1):
            f.seek((y * shape[1] + x0) * 3)
            f.write(np.ascontiguousarray(b[y - y0]).data)
    return np.zeros((1, 1, 1), np.uint8)


def main():
    a = np.random.default_rng(1).integers(0, 256, (3000, 4000, 3), dtype=np.uint8)
    here = os.path.dirname(imge._imge.__file__)
    lib = ctypes.CDLL(glob.glob(os.path.join(here, "../../libimge.so*"))[0])
    b = BMP(Type=0x10, Width=4000, Height=3000, BytesPerLine=12000, BitsPerComponent=8, ComponentsPerPixel=3,
            BytesPerPixel=3, TransparentIndex=-1, Data=a.ctypes.data)
    free = ctypes.CDLL(glob.glob(os.path.join(here, "../../libimg.so*"))[0]).imgFreeBitmap

    def c_call():
        d = ctypes.c_void_p()
        lib.imgGaussianBlur(ctypes.byref(b), ctypes.byref(d), 7)
        free(d)
    calls = {"C": c_call, "Python": lambda: imge.gaussian_blur(a, 7),
             "Python + copy of the result": lambda: np.array(imge.gaussian_blur(a, 7)),
             "cv2.GaussianBlur": lambda: cv2.GaussianBlur(a, (7, 7), 0, borderType=cv2.BORDER_REPLICATE)}
    times = {k: [] for k in calls}
    for _ in range(7):  # interleaved, the minimum of each
        for k, f in calls.items():
            times[k].append(best(f, 1))
    t = {k: min(v) for k, v in times.items()}
    print("4000x3000 RGB gaussian_blur(7), min of 7 interleaved: " +
          ", ".join(f"{k} {v * 1e3:.1f} ms ({(v / t['C'] - 1) * 100:+.1f} %)" for k, v in t.items()))
    if "--no-dask" in sys.argv:
        return
    import tempfile

    import dask.array as da
    import distributed
    from imge import dask as imge_dask
    shape = (9000, 12000, 3)
    chunks = tuple((n,) * (s // n) for n, s in zip(CHUNK, shape))
    # The workers start before this process holds the picture.
    with distributed.LocalCluster(n_workers=2, threads_per_worker=1, dashboard_address=None) as cl, \
            distributed.Client(cl) as c, tempfile.TemporaryDirectory() as tmp:
        big = np.random.default_rng(2).integers(0, 256, shape, dtype=np.uint8)
        t1 = best(lambda: imge.gaussian_blur(big, 7), 3)
        tcv = best(lambda: cv2.GaussianBlur(big, (7, 7), 0, borderType=cv2.BORDER_REPLICATE), 3)
        want = imge.gaussian_blur(big, 7)
        src, dst = os.path.join(tmp, "in.raw"), os.path.join(tmp, "out.raw")
        big.tofile(src)
        with open(dst, "wb") as f:
            f.truncate(big.nbytes)
        def one_call_file_to_file():
            np.ascontiguousarray(imge.gaussian_blur(np.fromfile(src, np.uint8).reshape(shape), 7)).tofile(dst)
        t1f = best(one_call_file_to_file, 3)
        d = c.persist(da.from_array(big, chunks=chunks))   # in memory, spread over the workers
        distributed.wait(d)
        big = None   # only the workers hold the picture now

        def fresh(x):
            """Persists x and waits; then drops the result and waits until the
            scheduler has forgotten it, so that the next run computes again."""
            r = c.persist(x)
            distributed.wait(r)
            keys = [f.key for f in distributed.futures_of(r)]
            del r
            while c.run_on_scheduler(lambda dask_scheduler, keys=keys: any(k in dask_scheduler.tasks for k in keys)):
                time.sleep(0.01)

        def in_memory():
            fresh(imge_dask.apply(d, "gaussian_blur", 7))
        in_memory()   # warm-up: imports and pickled functions on the workers
        t2 = best(in_memory, 5)
        same = (imge_dask.apply(d, "gaussian_blur", 7).compute() == want).all()
        d = None
        c.restart()   # fresh workers: their peak is this run's
        start = c.run(_peak)
        runs = iter(range(99))

        def out_of_core():  # file -> chunks -> filter -> file; nothing whole in any worker
            f = da.map_blocks(_read_block, src, shape, next(runs), dtype=np.uint8, chunks=chunks)  # new keys
            out = imge_dask.apply(f, "gaussian_blur", 7)
            out.map_blocks(_write_block, dst, shape, dtype=np.uint8, chunks=(1, 1, 1)).compute()
        t3 = best(out_of_core, 3)
        peak = c.run(_peak)
        same = same and (np.fromfile(dst, np.uint8).reshape(shape) == want).all()
    print(f"12000x9000 RGB gaussian_blur(7), chunks {CHUNK[:2]}, 2 workers:\n"
          f"  in memory:    one call {t1:.3f} s, Dask {t2:.3f} s ({t1 / t2:.2f}x)\n"
          f"  file to file: one call {t1f:.3f} s, Dask {t3:.3f} s ({t1f / t3:.2f}x)\n"
          f"  equal: {same}; peak memory per worker file to file {list(peak.values())} MB (at start "
          f"{list(start.values())} MB; picture {want.nbytes >> 20} MB); cv2.GaussianBlur {tcv:.3f} s")


CHUNK = tuple(int(x) for x in os.environ.get("BENCH_CHUNK", "1125,12000,3").split(","))


def _peak():  # the highest resident size of this process, MB
    with open("/proc/self/status") as f:
        return next(int(x.split()[1]) >> 10 for x in f if x.startswith("VmHWM"))


if __name__ == "__main__":
    main()
