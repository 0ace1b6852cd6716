"""Data of the real server: equal to what the command line prints, without a copy, freed, timed."""

import asyncio
import copy
import gc
import io
import os
import pickle
import sys
import threading

import numpy as np
import pandas as pd
import pytest
from conftest import PASSWORD

import qrx
import qrx.aio
import qrx.plot
from qrx import _fill, _library, _progress
from qrx._records import GROUPS

DAY = "2024-01-05"
KINDS = [
    ("ticks 600000.SH", lambda s: s.ticks("600000.SH", DAY)),
    ("ticks 000001.SH --book", lambda s: s.ticks("000001.sh", 20240105, book=True)),
    ("ticks 600000.SH --begin 10:00 --end 10:30",
     lambda s: s.ticks("600000.SH", "2024-01-05T10:00", "2024-01-05T10:30")),
    ("trades 600000.SH", lambda s: s.trades("600000.SH", DAY)),
    ("orders 000001.SZ", lambda s: s.orders("000001.SZ", DAY)),
    ("queues 600000.SH", lambda s: s.queues("600000.SH", DAY)),
    ("futures ag2403.SHF", lambda s: s.futures("ag2403.SHF", DAY)),
    ("futures ag2403.SHF --book --complete",
     lambda s: s.futures("ag2403.SHF", DAY, book=True, complete=True)),
    ("futures IO2403-C-3500.CF", lambda s: s.futures("IO2403-C-3500.CF", DAY)),
    ("bars 600000.SH --cycle 5m", lambda s: s.bars("600000.SH", "5m", DAY)),
    ("bars ag2403.SHF --cycle 1m --complete",
     lambda s: s.bars("ag2403.SHF", "1m", DAY, complete=True)),
]


@pytest.mark.parametrize("command, call", KINDS, ids=[k[0] for k in KINDS])
def test_frame_equals_the_command_line(demo, session, command, call):
    text = demo.cli(*command.split(), "--from", DAY, "--format", "csv", "--raw")
    shown = pd.read_csv(io.StringIO(text))
    clock = shown.date.astype(str) + shown.time.astype(str).str.zfill(9)
    shown["time"] = pd.to_datetime(clock + "000", format="%Y%m%d%H%M%S%f")
    del shown["date"]
    frame = call(session).to_pandas()
    assert len(frame) > 10 and list(frame.columns) == ["code", "time"] + [
        c for c in shown.columns if c not in ("code", "time")]
    assert frame.time.dtype == "datetime64[ns]"
    frame["code"] = frame.code.astype(str)
    pd.testing.assert_frame_equal(frame, shown[list(frame.columns)], check_dtype=False)


def test_price_in_units(demo, session):
    text = demo.cli(*"ticks 600000.SH --from 2024-01-05 --format csv --book".split())
    shown = pd.read_csv(io.StringIO(text))
    frame = session.ticks("600000.SH", DAY, book=True).to_pandas(price="float")
    for name in ("price", "acc_turnover", "bid_price10", "prev_close"):
        assert frame[name].dtype == float
        np.testing.assert_allclose(frame[name], shown[name], rtol=1e-12)
    assert frame.volume.dtype == np.int64 and (frame.volume == shown.volume).all()
    with qrx.connect(demo.url, password=PASSWORD, price_unit=100) as other:
        cents = other.ticks("600000.SH", DAY).column("price", price="float")
    np.testing.assert_allclose(cents, frame.price * 100, rtol=1e-12)
    chosen = session.ticks("600000.SH", DAY).to_pandas(columns=["price", "code"])
    assert list(chosen.columns) == ["price", "code"]
    with pytest.raises(qrx.BadArgument, match='no column "prise"; write one such as "price"'):
        session.ticks("600000.SH", DAY).to_pandas(columns=["prise"])


@pytest.mark.parametrize("date, time, moment", [
    (20240229, 235959999, "2024-02-29T23:59:59.999"), (20240101, 0, "2024-01-01T00:00"),
    (19691231, 93000000, "1969-12-31T09:30"), (20230229, 93000000, "NaT"), (0, 0, "NaT"),
    (-5, 1000, "NaT"), (99999999, 0, "NaT")])
def test_moments(date, time, moment):
    rows = np.zeros(2, _library.DTYPES["QRXDefine_Transaction"])
    rows["nDate"], rows["nTime"] = (20240105, date), (90000000, time)
    for some in (rows, rows[1:]):
        records = qrx._records.wrap(some, "QRXDefine_Transaction", qrx._table.Options())
        times = records.column("time")
        assert times.dtype == "datetime64[ms]"
        np.testing.assert_array_equal(times[-1:], np.array([moment], times.dtype))
        assert pd.isna(records.to_pandas().time.iloc[-1]) == (moment == "NaT")


@pytest.mark.parametrize("record, codes", [*zip(GROUPS, [1, 3] * 4), ("QRXDefine_Tick", 300)])
def test_runs_and_threads_give_each_row_its_own(record, codes, monkeypatch):
    monkeypatch.setattr(_fill, "RUN_BYTES", 40_000)
    monkeypatch.setattr(_fill, "ROWS_A_THREAD", 1000)
    monkeypatch.setattr(_fill.os, "cpu_count", lambda: 3)
    random = np.random.default_rng(7)
    made = np.zeros(5001, _library.DTYPES[record])
    made.view(np.uint8)[:] = random.integers(0, 256, made.nbytes)
    names = sorted(str(number) for number in random.integers(0, codes, len(made)))
    made["chVelaCode"] = names
    offset = made.dtype.fields["chVelaCode"][1]
    made.view(np.uint8).reshape(len(made), -1)[::2, offset + 31] = 7  # behind the NUL
    made["nDate"] = 20240105 + np.arange(len(made)) // 2000
    clock = np.sort(random.integers(0, 86_400_000, len(made)))
    made["nTime"] = [int(f"{ms // 3600000}{ms // 60000 % 60:02}{ms % 60000:05}") for ms in clock]
    when = (np.datetime64("2024-01-05") + np.arange(len(made)) // 2000) + clock.astype("m8[ms]")
    for some in (slice(None), slice(3, 4000), slice(None, None, -3), slice(7, 7)):
        rows = made[some]
        records = qrx._records.wrap(rows, record, qrx._table.Options(price_unit=100))
        frame = records.to_pandas(price="float")
        assert frame.code.astype(str).tolist() == names[some]
        assert np.array_equal(frame.time, when[some])
        for column in qrx._records.columns_of(record)[2:]:
            sent = rows[column.member]
            sent = sent if column.place is None else sent[:, column.place]
            money = column.kind in ("Price", "Amount")
            assert np.array_equal(frame[column.name], sent / 100 if money else sent), column
            assert np.array_equal(records.column(column.name), sent), column


def test_no_copy_and_one_release(session, monkeypatch):
    given, freed = [], []
    real = _library.lib.QRX_GetTick

    def get(handle, request, data, count):
        code = real(handle, request, data, count)
        given.append(data._obj.value)
        return code

    monkeypatch.setattr(_library.lib, "QRX_GetTick", get)
    monkeypatch.setattr(_library.Block, "__del__", lambda block: (
        freed.append(block.address), _library.lib.QRX_Free(block.address))[0])
    ticks = session.ticks("600000.SH", DAY)
    assert ticks.ctypes.data == given[0] and ticks.dtype == _library.DTYPES["QRXDefine_Tick"]
    with pytest.raises(ValueError, match=r'no field "price": .*write .column\("price"\)'):
        ticks["price"]
    view = ticks[5:10]["nPrice"]
    assert type(view) is np.ndarray and type(ticks[5:10]) is qrx.Records
    price = view[0]
    assert view.ctypes.data == given[0] + 5 * 154 + ticks.dtype.fields["nPrice"][1]
    session.close()
    del ticks
    gc.collect()
    assert freed == [] and view[0] == price
    del view
    gc.collect()
    assert freed == given


def resident():
    with open("/proc/self/statm") as f:
        return int(f.read().split()[1]) * os.sysconf("SC_PAGE_SIZE")


def test_nothing_leaks(demo, session):
    def ask_wrongly():
        for code in ("NO.SH", "IF2403.CF"):
            with pytest.raises(qrx.QrxError):
                session.ticks(code, DAY)

    def reconnect():
        qrx.connect(demo.url, password=PASSWORD).close()

    def store():
        session.formulas.add("B", "A = CLOSE")
        session.formulas.list()
        with pytest.raises(qrx.FormulaRefused):
            session.formulas.add("B", "A =")

    minute = {"begin": DAY, "begin_time": "10:00", "end_time": "10:01"}
    session.formulas.add("A", "A = CLOSE")
    many, some, few = 10_000, 2000, 500
    calls = [(many, lambda: session.bars("600000.SH", "1d", DAY)),
             (many, lambda: session.ticks("600000.SH", **minute)),
             (some, lambda: session.ticks("600000.SH", book=True, **minute)),
             (many, lambda: session.trades("600000.SH", **minute)),
             (some, lambda: session.orders("000001.SZ", **minute)),
             (some, lambda: session.queues("600000.SH", **minute)),
             (few, lambda: session.futures("ag2403.SHF", **minute)),
             (few, lambda: session.futures("IO2403-C-3500.CF", book=True, **minute)),
             (many, lambda: session.calc("A", "600000.SH", DAY)["A"].sum()),
             (some, lambda: list(session.iter_trades("600000.SH", **minute))),
             (some, lambda: session.ticks("600000.SH", **minute).to_pandas()),
             (some, lambda: session.ticks("600000.SH", **minute).stream().__arrow_c_stream__()),
             (some, store), (some, ask_wrongly), (some, session.codes), (few, reconnect)]
    for rounds, call in calls:
        call()
        files, threads = len(os.listdir("/proc/self/fd")), threading.active_count()
        levels = []
        for _ in range(4):
            for _ in range(rounds // 4):
                call()
            gc.collect()
            levels.append(resident())
        # A leak grows in every quarter; what an allocator keeps for later, in some.
        assert min(np.diff(levels)) < 64 << 10, (call, levels)
        assert len(os.listdir("/proc/self/fd")) == files
        assert threading.active_count() <= threads + 1
    for name in "AB":
        session.formulas.delete(name)


def test_days_one_by_one(session, capsys, monkeypatch):
    whole = session.trades("600000.SH", "2024-01-01", "2024-01-07")
    days = list(session.iter_trades("600000.SH", "2024-01-01", "2024-01-07"))
    assert [str(d.column("time")[0])[:10] for d in days] == ["2024-01-03", "2024-01-04", "2024-01-05"]
    assert np.array_equal(np.concatenate(days), whole)
    joined = session.trades("600000.SH", "2024-01-01", "2024-01-07", progress=True)
    assert np.array_equal(joined, whole) and "5/5" in capsys.readouterr().err
    monkeypatch.setitem(sys.modules, "tqdm.auto", None)
    assert sum(len(d) for d in session.iter_ticks("600000.SH", DAY, progress=True)) == 4800
    assert f"600000.SH [{'#' * _progress.PlainBar.WIDTH}] 1/1 days\n" in capsys.readouterr().err
    with pytest.raises(qrx.NoData, match="no trades of 600000.SH from 2023-01-02 to 2023-01-09"):
        list(session.iter_trades("600000.SH", "2023-01-02", "2023-01-09"))
    with pytest.raises(qrx.UnknownCode):
        session.iter_ticks("NO.SH", DAY)  # at once, not with the first day


@pytest.mark.parametrize("call, kind, words", [
    (lambda s: s.ticks("600000.SH", "2023-01-05"), qrx.NoData, "no ticks of 600000.SH on 2023-01-05"),
    (lambda s: s.ticks("600001.SH", DAY), qrx.UnknownCode, "no security 600001.SH; did you mean 60"),
    (lambda s: s.ticks("600000", DAY), qrx.BadArgument, "lacks its market; did you mean 600000.SH"),
    (lambda s: s.ticks("600000.SS", DAY), qrx.UnknownCode,
     "security 600000.SS: you have no market SS, only SH, SZ, .*; did you mean 600000.SH"),
    (lambda s: s.ticks("600000.SZ", DAY), qrx.UnknownCode, "did you mean 600000.SH"),
    (lambda s: s.ticks("AGG2403.SHF", DAY), qrx.UnknownCode, "did you mean ag2403.SHF"),
    (lambda s: s.code("浦发"), qrx.BadArgument, "did you mean 600000.SH"),
    (lambda s: s.code("0"), qrx.BadArgument, "did you mean 000001.SH, 000001.SZ, .*?"),
    (lambda s: s.ticks(600000, DAY), qrx.BadArgument, "code: 600000 is no such text"),
    (lambda s: s.ticks("", DAY), qrx.BadArgument, "code"),
    (lambda s: s.ticks("\udc80.SH", DAY), qrx.BadArgument, "code: .* such as 600000.SH"),
    (lambda s: s.bars("600000.SH", "1d", DAY, adjust=["forward"]), qrx.BadArgument, "write one of"),
    (lambda s: s.ticks("600000.SH", DAY).to_pandas(columns="price"), qrx.BadArgument,
     r'columns: .* such as columns=\["price"\]'),
    (lambda s: s.ticks("x" * 40 + ".SH", DAY), qrx.UnknownCode, "there is no security"),
    (lambda s: s.ticks("ag2403.SHF", DAY), qrx.WrongType, "ag2403.SHF is a future, which has no ticks; use s.futures"),
    (lambda s: s.futures("600000.SH", DAY), qrx.WrongType, "600000.SH is a security, .*; use s.ticks"),
    (lambda s: s.futures("600000.SH", DAY, complete=True), qrx.WrongType, "a security, which has no"),
    (lambda s: s.bars("600000.SH", "1d", DAY, complete=True), qrx.BadArgument, "seconds and minutes"),
    (lambda s: s.bars("600000.SH", "1d", DAY, adjust="up"), qrx.BadArgument, '"forward"'),
    (lambda s: s.bars("600000.SH", "1d", DAY, adjust_date=DAY), qrx.BadArgument, "forward"),
    (lambda s: s.bars("600000.SH", "1d", DAY, adjust_volume=True), qrx.BadArgument, "adjusted prices"),
    (lambda s: s.codes("XX"), qrx.UnknownCode, "no market \"XX\"; there are SH, SZ"),
    (lambda s: s.formulas.add("A", "x" * 1048576), qrx.BadArgument, "1048576 bytes"),
    (lambda s: s.formulas.add("A" * 24, "x"), qrx.BadArgument, "name: has 24 bytes"),
    (lambda s: s.calc("A", "600000.SH", DAY, params={"N": 5 ** 50}), qrx.BadArgument, "params: .* 31"),
    (lambda s: s.calc("A", "600000.SH", DAY, params={"N": None}), qrx.BadArgument, "params: N=None"),
    (lambda s: s.calc("A", "IO2403-C-3500.CF", DAY), qrx.BadArgument, "code: .* at most 8 char"),
    (lambda s: s.ticks("600000.SH", DAY).to_pandas(columns=5), qrx.BadArgument, "columns: a int")])
def test_errors(session, call, kind, words):
    with pytest.raises(kind, match=words) as caught:
        call(session)
    assert type(caught.value) is kind
    again = pickle.loads(pickle.dumps(caught.value))
    assert type(again) is kind and str(again) == str(caught.value)


def test_codes(session):
    frame = session.codes().to_pandas().set_index("code")
    assert session.markets == ["SH", "SZ", "SHF", "DCE", "CZC", "CF"] and len(frame) == 25
    assert tuple(frame.loc["600000.SH"]) == ("浦发银行", "SH", 16, "security")
    assert frame.loc["IO2403-C-3500.CF", "kind"] == "option"
    assert session.code("ag2403.shf") == qrx.Code("ag2403.SHF", "沪银2403", "SHF", 112, "future")
    assert len(session.codes("shf")) == 6


def test_closed(session):
    session.close()
    session.close()
    assert session.closed and "closed" in repr(session)
    for call in (lambda: session.ticks("600000.SH", DAY), session.codes,
                 lambda: session.code("600000.SH"), session.formulas.list):
        with pytest.raises(qrx.SessionClosed, match="is closed; open another"):
            call()


def test_pickled_results_keep_their_meaning(demo):
    with qrx.connect(demo.url, password=PASSWORD, price_unit=100) as s:
        ticks = s.ticks("600000.SH", DAY)
        s.formulas.add("C", "A = CLOSE")
        calc = s.calc("C", "600000.SH", DAY)
        s.formulas.delete("C")
        for copied in (copy.copy, copy.deepcopy, pickle.dumps):
            with pytest.raises(TypeError, match="a session cannot be copied"):
                copied(s)
    for again in (pickle.loads(pickle.dumps(calc)), copy.deepcopy(calc), copy.copy(calc)):
        assert again["A"] == calc["A"] and list(again) == ["Date", "A"] and "A" in again
        del again
        gc.collect()
        assert len(calc) == 1 and calc["A"][0] > 0
    again = pickle.loads(pickle.dumps(ticks[:7]))
    pd.testing.assert_frame_equal(again.to_pandas(price="float"), ticks[:7].to_pandas(price="float"))


def test_asyncio(demo):
    async def work():
        async with qrx.aio.connect(demo.url, password=PASSWORD) as s:
            both = await asyncio.gather(s.ticks("600000.SH", DAY), s.bars("600000.SH", "1d", DAY))
            days = [len(d) async for d in s.iter_ticks("600000.SH", "2024-01-03", DAY)]
            code = await s.code("600000.SH")
        with pytest.raises(qrx.SessionClosed):
            await s.ticks("600000.SH", DAY)
        return [len(b) for b in both], days, code.name

    assert asyncio.run(work()) == ([4800, 1], [4800] * 3, "浦发银行")
    names = {n for n in vars(qrx.Session) if not n.startswith("_")} - {"closed"}
    assert names <= set(vars(qrx.aio.Session))


def test_pictures(session, tmp_path):
    bars = session.bars("600000.SH", "5m", "2024-01-03", DAY)
    upper, lower = qrx.plot.candles(bars)
    assert len(upper.patches) == len(lower.patches) == len(bars)
    assert sum(p.get_height() for p in lower.patches) == bars["iVolume"].sum()
    lowest = min(p.get_y() for p in upper.patches)
    assert upper.get_ylim()[0] < lowest and len(upper.get_xticks()) > 3
    tops = sorted(s[1][1] for c in upper.collections for s in c.get_segments())
    np.testing.assert_allclose(tops, np.sort(bars["nHigh"]) / 10000)
    axes = qrx.plot.depth(session.ticks("600000.SH", DAY, book=True))
    first = session.ticks("600000.SH", DAY, book=True)[0]
    for image, volumes in zip(axes.images, ("nBook2", "nBook4")):  # asks, bids
        assert np.nan_to_num(image.get_array())[:, 0].sum() == first[volumes].sum()
    # Labels of a day with a break: the first row, then each half hour that has rows.
    axes.figure.canvas.draw()
    assert [label.get_text() for label in axes.get_xticklabels()] == [
        "09:30", "10:00", "10:30", "11:00", "13:00", "13:30", "14:00", "14:30", "15:00"]
    # 21:00 to 02:30, 09:00 to 15:00: a label of 02:00 would touch that of the morning.
    night = np.r_[np.arange(1260, 1591), np.arange(1980, 2340)].astype("M8[m]")
    assert [str(t)[11:] for t in night[qrx.plot.label_places(night)]] == [
        "21:00", "22:00", "00:00", "09:00", "10:00", "12:00", "14:00"]
    # A stock of which a tick of the price is less than a line: lines are shared, nothing is lost.
    dear = session.ticks("600519.SH", DAY, book=True)
    asks = qrx.plot.depth(dear, steps=100).images[0].get_array()
    assert len(asks) <= 240 and np.nan_to_num(asks)[:, 0].sum() == dear[0]["nBook2"].sum()
    for one in (upper, axes):
        one.figure.savefig(tmp_path / "picture.png")
    with pytest.raises(qrx.BadArgument, match="book=True"):
        qrx.plot.depth(session.ticks("600000.SH", DAY))
    with pytest.raises(qrx.BadArgument, match="a QRXDefine_Tick; pass it s.calc"):
        qrx.plot.formula(session.ticks("600000.SH", DAY))
