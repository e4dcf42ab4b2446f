"""Python call overhead and Dask scaling of gaussian_blur (run: PYTHONPATH=build/python /usr/bin/python3 bench/python_bench.py)."""
import ctypes
import glob
import os
import resource
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


def main():
    a = np.random.default_rng(1).integers(0, 256, (3000, 4000, 3), dtype=np.uint8)
    lib = ctypes.CDLL(glob.glob(os.path.join(os.path.dirname(imge._imge.__file__), "../../libimge.so*"))[0])
    b = BMP(Type=0x10, Width=4000, Height=3000, BytesPerLine=12000, BitsPerComponent=8, ComponentsPerPixel=3,
            BytesPerPixel=3, TransparentIndex=-1, Data=a.ctypes.data)
    free = ctypes.CDLL(glob.glob(os.path.join(os.path.dirname(imge._imge.__file__), "../../libimg.so*"))[0]).imgFreeBitmap

    def c_call():
        d = ctypes.c_void_p()
        lib.imgGaussianBlur(ctypes.byref(b), ctypes.byref(d), 7)
        free(d)
    tc, tp = best(c_call), best(lambda: imge.gaussian_blur(a, 7))
    tcv = best(lambda: cv2.GaussianBlur(a, (7, 7), 0, borderType=cv2.BORDER_REPLICATE))
    print(f"4000x3000 RGB gaussian_blur(7): C {tc*1e3:.1f} ms, Python {tp*1e3:.1f} ms "
          f"({(tp/tc-1)*100:+.1f} %), cv2.GaussianBlur {tcv*1e3:.1f} ms")
    if "--no-dask" in sys.argv:
        return
    import dask.array as da
    import distributed
    from imge import dask as imge_dask
    big = np.random.default_rng(2).integers(0, 256, (9000, 12000, 3), dtype=np.uint8)
    t1 = best(lambda: imge.gaussian_blur(big, 7), 1)
    with distributed.LocalCluster(n_workers=2, threads_per_worker=1, dashboard_address=None) as cl, \
            distributed.Client(cl) as c:
        d = da.from_array(big, chunks=(1500, 2000, 3))
        d = c.persist(d)
        distributed.wait(d)
        t2 = best(lambda: distributed.wait(c.persist(imge_dask.apply(d, "gaussian_blur", 7))), 1)
        peak = c.run(lambda: resource.getrusage(resource.RUSAGE_SELF).ru_maxrss)
    print(f"12000x9000 RGB gaussian_blur(7): one call {t1:.2f} s, Dask 2 workers {t2:.2f} s "
          f"({t1/t2:.2f}x); peak RSS per worker {[v // 1024 for v in peak.values()]} MB "
          f"(picture {big.nbytes >> 20} MB); cv2 {best(lambda: cv2.GaussianBlur(big, (7, 7), 0), 1):.2f} s")


if __name__ == "__main__":
    main()
