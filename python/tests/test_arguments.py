"""Dates, times, cycles, addresses, options: what is taken, and what is refused with which words."""

import asyncio
import datetime as dt
import sys
import time

import numpy as np
import pandas as pd
import pytest
from scripted import Server, login

import qrx
import qrx.aio
from qrx import _connection, _dates
from qrx._connection import OPTIONS
from qrx._formulas import parse_cycle

UTC = dt.timezone.utc


@pytest.mark.parametrize("value, moment", [
    (20240105, (20240105, 0)), ("20240105", (20240105, 0)), ("2024-01-05", (20240105, 0)),
    (dt.date(2024, 1, 5), (20240105, 0)), (np.int64(20240105), (20240105, 0)),
    (dt.datetime(2024, 1, 5, 9, 30, 0, 500000), (20240105, 93000500)),
    (dt.datetime(2024, 1, 5, 18, 0, tzinfo=UTC), (20240106, 20000000)),
    ("2024-01-05T09:30", (20240105, 93000000)), ("2024-01-05 21:00:00.5", (20240105, 210000500)),
    ("2024-01-05T09:30:00.500000", (20240105, 93000500)), ("20240105T093000", (20240105, 93000000)),
    ("2024-01-05T10:00:00Z", (20240105, 180000000)),
    ("2024-01-05T18:00:00.25+00:00", (20240106, 20000250)),
    (np.datetime64("2024-01-05"), (20240105, 0)),
    (np.datetime64("2024-01-05T09:30:00.500", "ns"), (20240105, 93000500)),
    (pd.Timestamp("2024-02-29"), (20240229, 0))])
def test_dates(value, moment):
    if isinstance(value, np.datetime64) and value.dtype == "M8[D]":
        assert _dates.parse_moment(value, "begin")[0] == moment[0]
    else:
        assert _dates.parse_moment(value, "begin") == moment


@pytest.mark.parametrize("value", [20230229, "2024-13-01", "5.1.2024", 0, -1, True, None, 3.5,
                                   "2024-0105", "", "2024-01-05T25:00", b"20240105", "2024-01-05T25:00Z",
                                   np.array([20240105, 20240108]), np.datetime64("NaT"), "18991231", pd.NaT,
                                   dt.datetime.max.replace(tzinfo=UTC)])
def test_no_dates(value):
    with pytest.raises(qrx.BadArgument, match="^begin: .*such as"):
        _dates.parse_moment(value, "begin")


@pytest.mark.parametrize("value, number", [
    ("09:30", 93000000), ("09:30:01", 93001000), ("23:59:59.999", 235959999), (93000500, 93000500),
    ("093000", 93000000), ("0930", 93000000), ("093000500", 93000500), ("09:30:00.500999", 93000500),
    (dt.time(9, 30, 0, 1000), 93000001), (None, 0)])
def test_times(value, number):
    assert _dates.parse_time(value, "begin_time") == number


@pytest.mark.parametrize("value", ["24:00", "9:30", 96000000, 930, "930", "09300050", 240000000, -1, True, 9.5, "noon"])
def test_no_times(value):
    with pytest.raises(qrx.BadArgument, match="^end_time: .*such as"):
        _dates.parse_time(value, "end_time")


def test_today_is_the_exchanges():
    # 08:00 at the exchange is midnight UTC: the same moment, by another way.
    expected = (dt.datetime.now(UTC) + dt.timedelta(hours=8)).strftime("%Y%m%d")
    assert _dates.today() == int(expected)
    assert _dates.read_range(None, None, None, None).first == int(expected)


@pytest.mark.parametrize("arguments", [(20240105, 20240104, None, None),
                                       (None, 20240104, None, None),
                                       (20240105, None, "15:00", "09:30")])
def test_reversed_ranges(arguments):
    with pytest.raises(qrx.BadArgument, match="^(end|begin).* is before .*such as") as caught:
        _dates.read_range(*arguments)
    assert arguments[0] is not None or "begin: without it the range begins today" in str(caught.value)
    assert arguments[3] is None or "end_time: 09:30 is before begin_time, 15:00" in str(caught.value)


def test_weekdays_with_bounds_on_the_outer_ones():
    days = _dates.read_range("2024-01-05", "2024-01-08", "10:00", "11:00").days()
    assert [(d.first, d.begin_time, d.end_time) for d in days] == [
        (20240105, 100000000, 0), (20240108, 0, 110000000)]


@pytest.mark.parametrize("text, cycle", [("30s", (0, 30)), ("m", (1, 1)), ("5m", (1, 5)),
                                         ("d", (2, 1)), ("2w", (3, 2)), ("month", (4, 1)),
                                         ("quarter", (5, 1)), ("half", (6, 1)), ("1y", (7, 1))])
def test_cycles(text, cycle):
    parsed = parse_cycle(text)
    assert (parsed.type, parsed.count) == cycle


@pytest.mark.parametrize("text", ["", "5", "0m", "121m", "61s", "1h", "5 m", 5, None, "9999999d"])
def test_no_cycles(text):
    with pytest.raises(qrx.BadArgument, match="^cycle: .*; write one"):
        parse_cycle(text)


@pytest.mark.parametrize("url, options, words", [
    ("qrx://u@h:7700", {"pasword": "x"}, "no option pasword; the nearest is password="),
    ("qrx://u@h:7700", {"time_out": 3}, "nearest is timeout="),
    ("http://u@h", {}, 'url: "http://u@h" is no such address; write one such as qrx://'),
    ("h:7700", {}, "url: "), (7700, {}, "url: a int is no address"),
    ("qrx://h:7700", {"password": "x"}, "names no user"), ("qrx://u@h:70000", {}, "no port"),
    ("qrx://u@h", {}, "no password given; pass password="),
    ("qrx://u:s3cret@h", {}, "a password does not belong into the address"),
    ("qrx://u:s3cret@h:x", {}, "a password does not belong into the address"),
    ("qrx://u:s3/cret@h", {}, "a password does not belong into the address"),
    ("u:s3cret@h:7700", {}, "a password does not belong into the address"),
    ("qrx:/u:s3cret@h", {}, "a password does not belong into the address"),
    ("qrx://u@h", {"password": "s3cret" * 9}, "password: has 54 bytes; a login carries at most 31"),
    ("qrx://u@h", {"password": b"s3cret"}, "password: a bytes is no password"),
    ("qrx://u@h", {"password": "s3cret", "timeout": 0}, "timeout: 0 is no number from 1"),
    ("qrx://u@h", {"password": "s3cret", "retries": "2"}, "retries: '2' is no number"),
    ("qrx://u@h", {"password": "s3cret", "encoding": "klingon"}, "encoding: there is no 'klingon'"),
    ("qrx://u@h", {"password": "s3cret", "proxy": "ftp://h"}, "proxy: .* such as socks5://"),
    ("qrx://u@h", {"password": "s3cret", "proxy": "http://u:s3cret@h"}, "pass proxy_password="),
    ("qrx://" + "u" * 17 + "@h", {"password": "s3cret"}, "user: has 17 bytes"),
    ("qrx://u@h", {"password_file": "/nonexistent"}, "cannot read /nonexistent"),
    ("qrx://u@h", {"password_file": 5}, "password_file: cannot read 5")])
def test_refused_before_connecting(url, options, words):
    with pytest.raises(qrx.BadArgument, match=words) as caught:
        qrx.connect(url, **options)
    assert "s3" not in str(caught.value) and "s3" not in repr(caught.value)


def test_unknown_host():
    with pytest.raises(qrx.HostNotFound, match="no-such-host.invalid has no IPv4"):
        qrx.connect("qrx://u@no-such-host.invalid", password="x")


def test_where_passwords_come_from(tmp_path, monkeypatch):
    path = tmp_path / "password"
    path.write_text("from-file\n")
    with Server() as server:
        def sent(**options):
            with qrx.connect(server.url, **options) as s:
                assert "from-" not in repr(s) + repr(vars(s))
            return server.asked(1)[-1][16:48].rstrip(b"\0")

        with pytest.raises(qrx.BadArgument, match="others may read .*chmod 600"):
            path.chmod(0o644)
            sent(password_file=path)
        path.chmod(0o600)
        monkeypatch.setenv("QRX_PASSWORD", "from-env")
        assert sent() == b"from-env"
        assert sent(password_file=path) == b"from-file"
        assert sent(password="from-arg", password_file=path) == b"from-arg"


def test_nothing_keeps_the_password(monkeypatch):
    records = []

    class Kept(_connection.Record):
        def __init__(self, name):
            super().__init__(name)
            records.append(self)

    monkeypatch.setattr(_connection, "Record", Kept)
    secret = "-".join(["s3cret", "of", "this", "test"])
    known = sys.getrefcount(secret)

    def forgotten():  # soon: the thread that opened may still be ending
        deadline = time.monotonic() + 2
        while sys.getrefcount(secret) != known and time.monotonic() < deadline:
            time.sleep(0.01)
        return sys.getrefcount(secret) == known

    async def over_asyncio(url):
        connecting = qrx.aio.connect(url, password=secret)
        async with connecting as s:
            assert forgotten() and not s.closed

    with Server() as server:
        with qrx.connect(server.url, password=secret):
            assert forgotten()
        assert records and not any(secret.encode() in record.data.tobytes() for record in records)
        asyncio.run(over_asyncio(server.url))


@pytest.mark.parametrize("answer, kind, words", [
    (login("口令错误".encode("gbk"), 0, ()), qrx.LoginRefused, "refused the login of demo.*口令错误"),
    (login(b"welcome", 1, ()), qrx.NoMarkets, "into no market"),
    ((2, b"short"), qrx.MalformedLogin, "does not answer as such a server"),
    (None, qrx.TimedOut, "did not answer in time")])
def test_logins_that_fail(answer, kind, words):
    with Server({1: answer}) as server:
        with pytest.raises(kind, match=words) as caught:
            qrx.connect(server.url, password="s3cret", timeout=1, retries=0)
    assert type(caught.value) is kind and "s3cret" not in str(caught.value)


def test_nobody_listens():
    with Server() as server:
        server.drop()
        with pytest.raises(qrx.Disconnected, match="cannot connect to 127.0.0.1:.*check host"):
            qrx.connect(server.url, password="x", retries=0)


