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
CASES = [(n, a) for n in ("gaussian_blur", "average", "minimum", "maximum", "median_box", "median_cross")
         for a in ((2,), (5,), (8,))] + [(n, ()) for n in ("emboss", "edge_detect_heavy", "reduce_noise")] + [
    ("sharpen", (40,)), ("convolve", ([[1, 2, 1]] * 3, 12)), ("negative", ()), ("adjust_hls", (5, 0, 10))]


@pytest.mark.parametrize("name,args", CASES)
def test_chunks_equal_single_call(client, name, args):
    d = da.from_array(SMALL, chunks=(70, 90, 3))
    assert (imge.dask.apply(d, name, *args).compute() == getattr(imge, name)(SMALL, *args)).all()


def test_full_size_gaussian_blur_on_4x4_chunks(client):
    d = da.from_array(BIG, chunks=(750, 1000, 3))
    assert (imge.dask.apply(d, "gaussian_blur", 7).compute() == imge.gaussian_blur(BIG, 7)).all()


def test_whole_picture_operations_refused():
    with pytest.raises(ValueError, match="whole picture"):
        imge.dask.apply(da.from_array(SMALL), "equalize")


def test_files_and_batch_of_20(client, tmp_path):
    paths = []
    for i in range(20):
        paths.append(str(tmp_path / f"p{i}.png"))
        imge.save(paths[-1], BIG[i * 10:i * 10 + 60, :80])
    written = imge.dask.batch(paths, [("gaussian_blur", 5), ("negative",)], str(tmp_path / "out"), client=client)
    for p, w in zip(paths, written):
        assert (imge.load(w) == imge.negative(imge.gaussian_blur(imge.load(p), 5))).all()
    imge.save(str(tmp_path / "a.jpg"), BIG[:64, :96], quality=90)
    imge.jpeg_lossless_transform(str(tmp_path / "a.jpg"), str(tmp_path / "b.jpg"), 1)
    assert imge.load(str(tmp_path / "b.jpg")).shape == (96, 64, 3)
