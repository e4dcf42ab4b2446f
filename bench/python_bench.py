"""Python call overhead and Dask scaling of gaussian_blur.

Run: PYTHONPATH=build/python /usr/bin/python3 bench/python_bench.py [--no-dask] [--tuned]
(--rows=A,B: stripes of A rows in memory, B rows file to file; default 4500,2250;
--reps=N: N interleaved runs of each, default 7).

--tuned: the workers start under imge.dask.worker_config() and are bound to a
CPU each (imge.dask.pin_workers), and this process keeps freed memory the same
way, so that the one call and the workers reuse their blocks alike.
"""
import ctypes
import glob
import os
import statistics
import sys
import time

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


def _read_rows(path, shape, top, bottom):
    """Rows top..bottom-1 of a raw H x W x 3 picture file, mapped rather than
    read: the filter reads the file's cached pages directly."""
    row = shape[1] * 3
    return np.memmap(path, np.uint8, mode="r", offset=top * row, shape=(bottom - top, shape[1], 3))


def _write_rows(path, shape, top, block):
    fd = os.open(path, os.O_WRONLY)
    try:
        os.pwrite(fd, np.ascontiguousarray(block).data.cast("B"), top * shape[1] * 3)
    finally:
        os.close(fd)


# mallopt's parameters for the allocator settings that imge.dask.worker_config()
# gives the workers through their environment.
MALLOPT = {"MALLOC_MMAP_MAX_": -4, "MALLOC_TRIM_THRESHOLD_": -1, "MALLOC_ARENA_MAX": -8}


def main():
    import cv2   # here, not above: the workers import this file and need no cv2
    tuned = "--tuned" in sys.argv
    if tuned:
        from imge import dask as imge_dask
        environ = imge_dask.worker_config()["distributed.nanny.pre-spawn-environ"]
        libc = ctypes.CDLL("libc.so.6")
        for name, param in MALLOPT.items():
            libc.mallopt(param, int(environ[name]))
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
    import functools
    import tempfile

    import dask
    import dask.array as da
    import distributed
    from imge import dask as imge_dask
    shape = (9000, 12000, 3)
    rows_in_memory, rows_on_disk = ROWS
    if tuned:
        dask.config.set(imge_dask.worker_config())
    # The workers start before this process holds the picture.
    with distributed.LocalCluster(n_workers=2, threads_per_worker=1, dashboard_address=None) as cl, \
            distributed.Client(cl) as c, tempfile.TemporaryDirectory() as tmp:
        if tuned:
            imge_dask.pin_workers(c)
        big = np.random.default_rng(2).integers(0, 256, shape, dtype=np.uint8)
        tcv = best(lambda: cv2.GaussianBlur(big, (7, 7), 0, borderType=cv2.BORDER_REPLICATE), 3)
        want = imge.gaussian_blur(big, 7)
        src, dst = os.path.join(tmp, "in.raw"), os.path.join(tmp, "out.raw")
        big.tofile(src)
        big.tofile(dst)
        d = c.persist(da.from_array(big, chunks=(rows_in_memory, -1, 3)))   # in memory, spread over the workers
        distributed.wait(d)

        def in_memory():   # the time until the result is in the workers' memory
            x = imge_dask.apply(d, "gaussian_blur", 7)
            s = time.perf_counter()
            r = c.persist(x)
            distributed.wait(r)
            return time.perf_counter() - s

        def one_call_file_to_file():   # the same mapped reading and writing as the stripes
            _write_rows(dst, shape, 0, imge.gaussian_blur(_read_rows(src, shape, 0, shape[0]), 7))

        def file_to_file():   # nothing whole in any worker
            dask.compute(*imge_dask.stripes(functools.partial(_read_rows, src, shape),
                                            functools.partial(_write_rows, dst, shape), shape[0], "gaussian_blur", 7,
                                            rows=rows_on_disk))

        one_call, dask_in_memory, one_file, dask_file = [], [], [], []
        in_memory()   # warm-up: imports and pickled functions on the workers
        for _ in range(REPS):  # interleaved, the minimum of each
            one_call.append(best(lambda: imge.gaussian_blur(big, 7), 1))
            dask_in_memory.append(in_memory())
            time.sleep(0.2)   # the previous result is released
        peak_memory = c.run(_peak)
        same = (imge_dask.apply(d, "gaussian_blur", 7).compute() == want).all()
        d = big = None
        c.restart()   # fresh workers: their peak is the file to file run's
        if tuned:
            imge_dask.pin_workers(c)
        file_to_file()
        for _ in range(REPS):
            one_file.append(best(one_call_file_to_file, 1))
            dask_file.append(best(file_to_file, 1))
        peak_file = c.run(_peak)
        same = same and (np.fromfile(dst, np.uint8).reshape(shape) == want).all()
    t1, t2, t1f, t3 = (min(x) for x in (one_call, dask_in_memory, one_file, dask_file))
    m1, m2, m1f, m3 = (statistics.median(x) for x in (one_call, dask_in_memory, one_file, dask_file))
    print(f"12000x9000 RGB gaussian_blur(7), 2 workers, min (median) of {REPS} interleaved"
          f"{', tuned' if tuned else ''}:\n"
          f"  in memory, stripes of {rows_in_memory} rows: one call {t1:.3f} s, Dask {t2:.3f} s ({t1 / t2:.2f}x; "
          f"median {m1 / m2:.2f}x); peak per worker {list(peak_memory.values())} MB\n"
          f"  file to file, stripes of {rows_on_disk} rows: one call {t1f:.3f} s, Dask {t3:.3f} s ({t1f / t3:.2f}x; "
          f"median {m1f / m3:.2f}x); peak per worker {list(peak_file.values())} MB\n"
          f"  picture {want.nbytes >> 20} MB; equal: {same}; cv2.GaussianBlur {tcv:.3f} s")


def _option(name, default):   # --name=value on the command line
    return next((a.split("=", 1)[1] for a in sys.argv if a.startswith(f"--{name}=")), default)


REPS = int(_option("reps", "7"))
ROWS = tuple(int(x) for x in _option("rows", "4500,2250").split(","))


def _peak():  # the highest resident size of this process, MB
    with open("/proc/self/status") as f:
        return next(int(x.split()[1]) >> 10 for x in f if x.startswith("VmHWM"))


if __name__ == "__main__":
    main()
