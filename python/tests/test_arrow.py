"""Streams as a consumer in C reads them, and what happens to streams that nobody reads."""

import ctypes
import gc
import subprocess
import sys
import weakref
from pathlib import Path

import numpy as np
import pytest

import qrx
from qrx import _arrow
from qrx._library import DTYPES
from qrx._records import wrap
from qrx._table import Options

DAY = "2024-01-05"


@pytest.fixture(scope="module")
def read(tmp_path_factory):
    folder = tmp_path_factory.mktemp("reader")
    subprocess.run(["cc", "-shared", "-fPIC", "-Wall", "-Werror", "-o", folder / "reader.so",
                    Path(__file__).with_name("arrow_reader.c")], check=True)
    reader = ctypes.CDLL(str(folder / "reader.so")).ReadStream
    reader.argtypes = [ctypes.c_void_p, ctypes.c_char_p]
    pointer = ctypes.pythonapi.PyCapsule_GetPointer
    pointer.restype, pointer.argtypes = ctypes.c_void_p, [ctypes.py_object, ctypes.c_char_p]

    def read_source(source):
        capsule = source.__arrow_c_stream__()
        out = folder / "out.txt"
        assert reader(pointer(capsule, b"arrow_array_stream"), str(out).encode()) == 0
        return out.read_text().split("\n")[:-1]

    yield read_source
    gc.collect()
    assert _arrow._kept == {}


def test_ticks_in_batches(session, read, monkeypatch):
    monkeypatch.setattr(_arrow, "BATCH_ROWS", 2000)
    ticks = session.ticks("600000.SH", DAY)
    lines = read(ticks)
    formats = dict(part.rsplit(":", 1) if not part.startswith("time:") else part.split(":", 1)
                   for part in lines[0].split()[1:])
    assert lines[0].startswith("+s code:u time:tsm: price:i volume:l ")
    assert list(formats) == ticks.columns and formats["side"] == "c"
    rows = [line.split(",") for line in lines[1:] if not line.startswith(("batch", "moved"))]
    assert [line for line in lines if line.startswith("batch")] == [
        "batch 2000", "batch 2000", "batch 800"]
    assert lines.count("moved 600000.SH") == 3
    frame = ticks.to_pandas()
    frame["time"] = frame.time.astype("int64") // 1_000_000
    assert rows == [[str(value) for value in row] for row in frame.itertuples(index=False)]


def test_prices_and_chosen_columns(session, read):
    ticks = session.ticks("600000.SH", DAY)
    lines = read(ticks.stream(columns=["price", "time"], price="float"))
    assert lines[0] == "+s price:g time:tsm:"
    assert lines[2] == f"{ticks['nPrice'][0] / 10000:.4f},{ticks.column('time')[0].astype(int)}"


NAMES = [(b"", ""), (b"\xc6\xd6\xb7\xa2", "浦发"), (b"\0PF", ""), (b"PF\0\xff\xfeold", "PF"),
         (b"\xd2\xf8" * 16, "银" * 16), (b"A" + b"\xd2\xf8" * 16, "A" + "银" * 15 + "\ufffd"),
         (b"PF" + b"\0" + b"x" * 29, "PF"), (b" PF ", " PF "), (b"\xff\xffA", "\ufffd\ufffdA"),
         (b"A\x81", "A\ufffd"), (b"\x95\x32\x82\x36", "\U00020000")]
TYPES = {1: "index", 15: "index", 16: "security", 112: "future", 125: "future", 126: "security",
         144: "option", 159: "option", 160: "security", 400: "option", 111: "security"}


def test_texts_of_any_bytes(read):
    rows = np.zeros(len(NAMES), DTYPES["QRXDefine_Code"])
    rows["szName"], rows["nType"] = [raw for raw, _ in NAMES], list(TYPES)
    codes = wrap(rows, "QRXDefine_Code", Options())
    texts = [text for _, text in NAMES]
    assert codes.column("name").tolist() == texts == codes.to_pandas().name.tolist()
    assert codes.column("kind").tolist() == list(TYPES.values())
    lines = read(codes)
    assert lines[0] == "+s code:u name:u market:u type:i kind:u"
    assert [line.split(",")[1] for line in lines[2:-1]] == texts
    assert read(codes[:0]) == lines[:1]
    assert codes[:0].column("name").tolist() == codes[:0].column("kind").tolist() == []


def test_failing_source_says_why(session, read, monkeypatch):
    ticks = session.ticks("600000.SH", DAY)

    def fail(*_):
        raise MemoryError("no room")

    monkeypatch.setattr(qrx.Records, "_fill", fail)
    assert read(ticks)[-1] == "error no room"


def test_a_stream_keeps_its_records_and_no_longer(session):
    ticks = session.ticks("600000.SH", DAY)
    alive = weakref.ref(ticks)
    capsule = ticks.__arrow_c_stream__()
    del ticks
    gc.collect()
    assert alive() is not None
    with pytest.raises(TypeError):  # the capsule goes while an exception is on its way
        int(alive().__arrow_c_stream__())
    del capsule
    gc.collect()
    assert alive() is None and _arrow._kept == {}


class FakeModule:
    """Takes the place of a consumer that is not installed."""

    @staticmethod
    def DataFrame(source):
        return source

    table = DataFrame


def test_to_polars_and_arrow_hand_the_stream_over(session, read, monkeypatch):
    ticks = session.ticks("600000.SH", DAY)[:2]
    for name, convert in (("polars", ticks.to_polars), ("pyarrow", ticks.to_arrow)):
        monkeypatch.setitem(sys.modules, name, FakeModule)
        assert read(convert(price="float")) == read(ticks.stream(price="float"))
        monkeypatch.setitem(sys.modules, name, None)
        with pytest.raises(ImportError, match=f"{name} is not installed"):
            convert()
