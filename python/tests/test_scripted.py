"""A server that is silent, goes away, or sends what the reference server would not."""

import asyncio
import os
import signal
import struct
import subprocess
import sys
import threading
import time

import numpy as np
import pandas as pd
import pytest
from scripted import Server, bars, integer, packed, scripted, snapshots

import qrx
import qrx.aio
import qrx.plot

DAY = "2024-01-05"
SILENT = {110: None, 107: None, 101: None}
INTERRUPTED = """
import sys
import qrx
s = None
if sys.argv[2] == "110":
    s = qrx.connect(sys.argv[1], password="x", timeout=60)
print("asking", flush=True)
try:
    {call}
except KeyboardInterrupt:
    print("interrupted")
try:
    s and s.ticks("600000.SH", "2024-01-05")
except qrx.SessionClosed as error:
    print(type(error).__name__, error)
"""


@pytest.mark.parametrize("call", ['s.ticks("600000.SH", "2024-01-05")',
                                  'list(s.iter_ticks("600000.SH", 20240101, 20240131))',
                                  's.bars("600000.SH", "1d", "2024-01-05")',
                                  'qrx.connect(sys.argv[1], password="s3c")'])
def test_ctrl_c_ends_a_call(call):
    opens = "connect" in call
    with Server({1: None} if opens else SILENT) as server:
        # A Python that Ctrl-C can end, also where the tests run in the background and ignore it.
        child = subprocess.Popen(
            [sys.executable, "-c", INTERRUPTED.format(call=call), server.url, "" if opens else "110"],
            stdout=subprocess.PIPE, text=True,
            env={**os.environ, "PYTHONPATH": os.pathsep.join(filter(None, sys.path))},
            preexec_fn=lambda: signal.signal(signal.SIGINT, signal.SIG_DFL))
        assert child.stdout.readline() == "asking\n"
        time.sleep(0.3)
        child.send_signal(signal.SIGINT)
        begin = time.monotonic()
        said = child.communicate(timeout=10)[0]
        assert time.monotonic() - begin < 1
    closed = "" if opens else "SessionClosed this session at 127.0.0.1"
    assert said.startswith("interrupted\n" + closed) and child.returncode == 0


def test_no_answer_in_time():
    with scripted(SILENT, timeout=1) as (_, s):
        begin = time.monotonic()
        with pytest.raises(qrx.TimedOut, match="did not answer in time.*timeout="):
            s.ticks("600000.SH", DAY)
        assert 0.9 < time.monotonic() - begin < 2


def test_closed_by_another_thread():
    with scripted(SILENT) as (_, s):
        threading.Timer(0.2, s.close).start()
        with pytest.raises(qrx.SessionClosed, match="was closed"):
            s.ticks("600000.SH", DAY)


def test_cancelled_in_asyncio():
    async def work(url):
        s = await qrx.aio.connect(url, password="x", timeout=60)
        with pytest.raises(asyncio.TimeoutError):
            await asyncio.wait_for(s.ticks("600000.SH", DAY), 0.2)
        assert s.closed
        await s.close()

    with Server(SILENT) as server:
        begin = time.monotonic()
        asyncio.run(work(server.url))
        assert time.monotonic() - begin < 1.5


def test_server_goes_away():
    with scripted(SILENT, retries=0) as (server, s):
        server.drop()
        with pytest.raises(qrx.Disconnected, match="was lost") as caught:
            s.ticks("600000.SH", DAY)
        assert type(caught.value) is qrx.Disconnected and not s.closed


def day_of(body):
    return struct.unpack_from("<i", body, 12)[0]  # of a request for snapshots


BAR = [90000, 90500, 89900, 90400, 100, 9020000, 7, 0]


@pytest.mark.parametrize("code, date, first, words", [
    ("X1.XX", 20240105, 93000, "market XX has no session grid; only SH, SZ, CF, SHF, CZC, DCE"),
    ("600000.SH", 20240105, 91500, "2024-01-05, record 1 at 09:15:00.000: the first bar must not be"),
    ("ag2403.SHF", 20240106, 100000, "2024-01-06, record 1 at 10:00:00.000: .* Monday to Friday")])
def test_no_bar_stops_the_process(code, date, first, words):
    with scripted({101: bars([[date, first, *BAR]])}) as (_, s):
        with pytest.raises(qrx.CannotComplete, match=f"^complete: .*{words}.*; leave complete"):
            s.bars(code, "1m", DAY, "2024-01-08", complete=True)
        assert len(s.bars(code, "1m", DAY, "2024-01-08")) == 1


@pytest.mark.parametrize("code, times, words", [
    ("X1.XX", [85500000], "market XX has no session grid; only SHF, CZC, DCE, CF have one"),
    ("ag2403.SHF", [84900000], "2024-01-08: no record at or after the start of the pre-open"),
    ("ag2403.SHF", [85500000, 113000000, 113000500],
     "2024-01-08, record 3 at 11:30:00.500: more than one record around the end of a session")])
def test_no_snapshot_stops_the_process(code, times, words):
    def answer(body):
        return snapshots(day_of(body), times if day_of(body) == 20240108 else [85500000])

    with scripted({112: answer}) as (server, s):
        with pytest.raises(qrx.CannotComplete, match=words):
            s.futures(code, DAY, "2024-01-08", complete=True)
        asked = list(map(day_of, server.asked(112)))
        # Friday is looked at and completed, Monday looked at alone; XX is not asked for at all.
        assert asked == ([] if "XX" in code else [20240105, 20240105, 20240108])
        if asked:
            assert len(s.futures(code, DAY, complete=True)) == 28803


def test_completed_days_are_joined():
    with scripted({112: lambda body: snapshots(day_of(body), [85500000])}) as (_, s):
        both = s.futures("ag2403.SHF", DAY, "2024-01-08", complete=True)
        days = list(s.iter_futures("ag2403.SHF", DAY, "2024-01-08", complete=True))
    assert [len(d) for d in days] == [28803] * 2 and np.array_equal(np.concatenate(days), both)
    assert str(both.column("time")[28803])[:10] == "2024-01-08"


def test_bars_as_asked_for():
    with scripted({101: bars([[20240105, 93000, *BAR]])}) as (server, s):
        s.bars("600000.SH", "5m", DAY, adjust="forward", adjust_date="2024-01-04")
        plain = s.bars("600000.SH", "quarter", "2024-01-04", DAY)
        assert len(s.bars("600000.SH", "1m", DAY, complete=True)) == 240
    assert plain.column("close", "float")[0] == 9.04 and plain["nMatchItems"][0] == 7
    asked = server.asked(101)
    assert len(asked) == 4  # the first bar is looked at before the grid is asked for
    # Mode, its date and switch, the server's cycle (0 minutes, 4 quarters) and multiple, days.
    assert [struct.unpack_from("<7i", body, 16) for body in asked[:2]] == [
        (1, 20240104, 0, 0, 5, 20240105, 20240105), (0, 0, 0, 4, 1, 20240104, 20240105)]


# A server of which every formula stays as it is, with bytes behind the NUL of its text.
STUBBORN = {
    6050: (6051, struct.pack("<ii", 1, 0) + "第1行没有等号".encode("gbk").ljust(192, b"\0")),
    6052: (6053, struct.pack("<i24s64s", 0, b"LOCKED", b"locked")),
    6054: (6055, struct.pack("<ii24s128s", 1, 152, b"LOCKED", b"A = 1\0".ljust(128, b"\xff")))}


def test_formulas_that_stay():
    with scripted(STUBBORN) as (_, s):
        with pytest.raises(qrx.FormulaRefused, match='formula BAD .*says: "第1行没有等号"') as caught:
            s.formulas.add("BAD", "nonsense")
        assert caught.value.text == "第1行没有等号" and caught.value.code == -50
        assert s.formulas.list() == [s.formulas.show("LOCKED")]
        assert s.formulas.show("LOCKED").text == "A = 1" and not s.formulas.show("LOCKED").cut
        with pytest.raises(qrx.FormulaRefused, match='kept the formula LOCKED .*"locked"'):
            s.formulas.delete("LOCKED")


def calculated(_):
    head = b"600000\0\0SH\0\0".rjust(40, b"\0") + struct.pack("<i28xii", 1, 2, 2)
    # Two rows a minute apart; MA5 has no value in the first one.
    stream = packed(2) + packed(20240105 - 19900101) + packed(0)
    stream += packed(34_200_000) + packed(60_000)
    stream += b"\x03MA5" + packed(1) + packed(1) + integer(90400)
    stream += b"\x04DIFF" + packed(0) + packed(1) + integer(-5) + integer(12)
    return 6057, head + stream


def test_calculation():
    with scripted({6056: calculated}) as (server, s):
        calc = s.calc("MA", "600000.sh", DAY, cycle="1m", params={"N": 5, "M": 20})
    frame = calc.to_pandas()
    expected = pd.DataFrame({
        "code": pd.Categorical(["600000.SH"] * 2),
        "time": pd.to_datetime(["2024-01-05 09:30", "2024-01-05 09:31"]),
        "MA5": np.array([0, 90400], np.int32), "DIFF": np.array([-5, 7], np.int32)})
    pd.testing.assert_frame_equal(frame, expected)
    column = calc["DIFF"]
    del calc, frame
    assert column.tolist() == [-5, 7]  # the library's memory, held by the column alone
    [asked] = server.asked(6056)
    assert asked[:2] == b"MA" and asked[24:34].rstrip(b"\0") == b"N=5;M=20"
    assert struct.unpack_from("<iii", asked, 172) == (0, 1, 0)


def test_calculations_do_not_leak_and_can_be_drawn():
    with scripted({6056: calculated}) as (_, s):
        axes = qrx.plot.formula(s.calc("MA", "600000.SH", DAY), ["DIFF", "MA5"])
        diff, ma5 = (line.get_ydata() for line in axes.lines)
        assert diff.tolist() == [-5, 7] and np.isnan(ma5[0]) and ma5[1] == 90400
        released = []
        for _ in range(20):
            calc = s.calc("MA", "600000.SH", DAY)
            record = calc._columns.record
            held = calc["MA5"]
            del calc
            assert record["nFieldCount"] == 4
            del held
            released.append(int(record["nFieldCount"]))  # zeroed by the release
        assert released == [0] * 20
