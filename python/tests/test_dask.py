import os
import subprocess

import numpy as np
import pytest

import imge
import imge.dask

da = pytest.importorskip("dask.array")
distributed = pytest.importorskip("distributed")


@pytest.fixture(scope="module")
def client():
    with distributed.LocalCluster(n_workers=2, threads_per_worker=1, processes=True,
                                  dashboard_address=None) as cluster, distributed.Client(cluster) as c:
        yield c


BIG = np.random.default_rng(3).integers(0, 256, (3000, 4000, 3), dtype=np.uint8)
SMALL = BIG[:300, :400]
# Every filter and size class (odd and even windows), the two-pass corrections
# and some point operations, each on a picture of 5 x 5 chunks.
CASES = [(n, a) for n in ("gaussian_blur", "average", "minimum", "maximum", "median_box", "median_cross")
         for a in ((2,), (5,), (8,))] + [(n, ()) for n in (
             "emboss", "emboss_more", "enhance_detail", "enhance_focus", "focus_restoration", "edge_detect_light",
             "edge_detect_medium", "edge_detect_heavy", "reduce_noise", "equalize", "equalize_on_luminance",
             "normalize", "automatic_levels", "automatic_contrast", "negative", "desaturate")] + [
    ("sharpen", (40,)), ("blur", (30,)), ("soften", (30,)), ("edge", (60,)), ("convolve_index", (2,)),
    ("convolve", ([[1, 2, 1]] * 3, 12)), ("adjust_hls", (5, 0, 10)), ("levels", (30, 220)),
    ("extract_channel", (1,))]


@pytest.mark.parametrize("name,args", CASES)
def test_chunks_equal_single_call(client, name, args):
    d = da.from_array(SMALL // 2 + 40, chunks=(70, 90, 3))   # narrower range: the corrections do something
    assert (imge.dask.apply(d, name, *args).compute() == getattr(imge, name)(SMALL // 2 + 40, *args)).all()


# Stripes of rows that span the width: each stripe filtered where it lies and
# its rows at the seams redone; a stripe lower than the window falls back to the overlap.
STRIPE_CASES = [(n, (size,), c)
                for n in ("gaussian_blur", "average", "minimum", "maximum", "median_box", "median_cross")
                for size in (2, 5, 8, 25 if n == "gaussian_blur" else 15)
                for c in ((70, 70, 70, 70, 20), (100, 100, 97, 3))] + [
    (n, (), (100, 100, 100)) for n in ("emboss", "reduce_noise")]


@pytest.mark.parametrize("name,args,rows", STRIPE_CASES)
def test_stripes_equal_single_call(client, name, args, rows):
    d = da.from_array(SMALL, chunks=(rows, 400, 3))
    assert (imge.dask.apply(d, name, *args).compute() == getattr(imge, name)(SMALL, *args)).all()


def test_full_size_on_4x4_chunks_and_statistics(client):
    d = da.from_array(BIG, chunks=(750, 1000, 3))
    for name, args in (("gaussian_blur", (7,)), ("median_box", (4,)), ("automatic_levels", ())):
        assert (imge.dask.apply(d, name, *args).compute() == getattr(imge, name)(BIG, *args)).all()
    assert (imge.dask.histogram(d).compute() == imge.create_all_histogram(BIG)).all()
    part = BIG[:600, :800] // 16 * 16
    assert imge.dask.count_colors(da.from_array(part, chunks=(150, 200, 3))).compute() == imge.get_count_colors(part)


# Chunks that no bitmap can wrap as they lie: broadcast (as da.zeros makes
# them), rows going backwards, columns first; by stripes, by overlap, by point.
LAYOUTS = {"broadcast": lambda: da.from_array(np.broadcast_to(SMALL[0], (120, 400, 3)), chunks=(60, 400, 3)),
           "rows backwards": lambda: da.from_array(SMALL, chunks=(100, 400, 3))[::-1],
           "columns first": lambda: da.from_array(np.ascontiguousarray(SMALL.transpose(1, 0, 2)),
                                                  chunks=(200, 150, 3)).transpose(1, 0, 2)}


@pytest.mark.parametrize("layout", LAYOUTS)
@pytest.mark.parametrize("name,args", [("gaussian_blur", (5,)), ("median_box", (4,)), ("negative", ())])
def test_chunks_of_any_layout(client, layout, name, args):
    d = LAYOUTS[layout]()
    whole = np.ascontiguousarray(d.compute())
    assert (imge.dask.apply(d, name, *args).compute() == getattr(imge, name)(whole, *args)).all()


# A picture that stays in a raw file: each stripe read with its context rows,
# filtered and written by one task; stripes lower than the window included.
@pytest.mark.parametrize("name,args,rows", [
    ("gaussian_blur", (8,), 70), ("gaussian_blur", (25,), 7), ("median_box", (5,), np.int64(97)), ("minimum", (4,), 1),
    ("reduce_noise", (), 300), ("emboss", (), 299), ("negative", (), 64), ("adjust_hls", (5, 0, 10), 1000)])
def test_stored_stripes_equal_single_call(client, tmp_path, name, args, rows):
    src, dst, shape = str(tmp_path / "in.raw"), str(tmp_path / "out.raw"), SMALL.shape
    np.ascontiguousarray(SMALL).tofile(src)
    np.zeros(shape, np.uint8).tofile(dst)

    def read(top, bottom):   # (local functions travel by value)
        return np.fromfile(src, np.uint8).reshape(shape)[top:bottom]

    def write(top, block):
        with open(dst, "r+b") as f:
            f.seek(top * shape[1] * 3)
            f.write(np.ascontiguousarray(block).tobytes())

    tasks = imge.dask.stripes(read, write, shape[0], name, *args, rows=rows)
    assert sum(client.gather(client.compute(tasks))) == shape[0]
    assert (np.fromfile(dst, np.uint8).reshape(shape) == getattr(imge, name)(SMALL, *args)).all()


@pytest.mark.parametrize("name,rows,match", [("equalize", 10, "not a neighbourhood"),
                                             ("drop_shadow", 10, "not a neighbourhood"),
                                             ("average", 0, "positive"), ("average", 2.5, "positive")])
def test_stored_stripes_refused(name, rows, match):
    with pytest.raises(ValueError, match=match):
        imge.dask.stripes(None, None, 10, name, 3, rows=rows)


@pytest.mark.parametrize("name,exc", [("drop_shadow", ValueError), ("draw_point", ValueError),
                                      ("no_such", ValueError)])
def test_whole_picture_operations_refused(name, exc):
    with pytest.raises(exc, match="whole picture|no operation"):
        imge.dask.apply(da.from_array(SMALL), name)


def test_batch_of_20_equals_the_tool(client, tmp_path):
    tool = os.path.join(os.path.dirname(imge._imge.__file__), "..", "..", "tools", "imge")
    if not os.path.exists(tool):
        pytest.skip("the imge tool is not built")
    paths = []
    for i in range(20):
        paths.append(str(tmp_path / f"p{i}.png"))
        imge.save(paths[-1], BIG[i * 10:i * 10 + 60, :80 + i])
    written = imge.dask.batch(paths, [("gaussian_blur", 5), ("negative",), ("sharpen", 40)],
                              str(tmp_path / "out"), client=client)
    subprocess.run([tool, "gaussian-blur", "--size", "5", "+", "negative", "+", "sharpen", "--percentage", "40",
                    *paths, "-o", str(tmp_path / "tool") + "/"], check=True)
    for p, w in zip(paths, written):
        assert (imge.load(w) == imge.load(str(tmp_path / "tool" / os.path.basename(p)))).all()


def _worker_settings():
    import dask
    return ({k: os.environ.get(k) for k in ("MALLOC_MMAP_MAX_", "MALLOC_ARENA_MAX", "OMP_NUM_THREADS")},
            dask.config.get("distributed.worker.profile.enabled"),
            {tuple(sorted(os.sched_getaffinity(int(t)))) for t in os.listdir("/proc/self/task")})


def test_tuned_workers_keep_memory_and_thread_limits_each_on_its_cpus():
    import dask
    cpus = sorted(os.sched_getaffinity(0))
    with dask.config.set(imge.dask.worker_config()), \
            distributed.LocalCluster(n_workers=2, threads_per_worker=1, dashboard_address=None) as cluster, \
            distributed.Client(cluster) as c:
        pinned = imge.dask.pin_workers(c)
        assert sorted(pinned.values()) == sorted([[cpus[0]], [cpus[1 % len(cpus)]]])
        for address, cpu in pinned.items():
            environ, profiling, threads = c.submit(_worker_settings, workers=[address], pure=False).result()
            assert environ == {"MALLOC_MMAP_MAX_": "0", "MALLOC_ARENA_MAX": "1", "OMP_NUM_THREADS": "1"}
            assert profiling is False
            assert threads == {tuple(cpu)}   # every thread, the task's own included
        d = da.from_array(SMALL, chunks=(75, -1, 3))
        assert (imge.dask.apply(d, "gaussian_blur", 7).compute() == imge.gaussian_blur(SMALL, 7)).all()


def test_pin_workers_refuses_workers_in_one_process():
    with distributed.LocalCluster(n_workers=2, processes=False, dashboard_address=None) as cluster, \
            distributed.Client(cluster) as c:
        with pytest.raises(ValueError, match="share a process"):
            imge.dask.pin_workers(c)
