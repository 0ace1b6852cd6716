"""The examples, compiled with every warning an error, against the server of scripts/with-market.
What they say is worked out again from what the command line prints."""

import csv
import io
import os
import subprocess
import sys
from collections import defaultdict
from pathlib import Path

import pytest

ROOT = Path(__file__).resolve().parents[2]
BUILD = Path(os.environ["QRX_LIBRARY"]).parent
ADDRESS, PORT = os.environ["QRX_SERVER"].split(":")
COMPILERS = {".c": ["cc", "-std=c99", "-pedantic-errors"], ".cpp": ["c++", "-std=c++17"]}


def run(*command, **more):
    done = subprocess.run([str(part) for part in command], capture_output=True, text=True,
                          env={**os.environ, "QRX_PASSWORD": "demo"}, **more)
    assert done.returncode == 0, done.stdout + done.stderr
    return done.stdout


@pytest.fixture
def example(tmp_path):
    """Runs an example; what is written for port 7700 is reached on the market's port."""
    def call(name, *arguments):
        source = tmp_path / name
        source.write_text((ROOT / "examples" / name).read_text().replace('"7700"', f'"{PORT}"'))
        if source.suffix == ".py":
            return run(sys.executable, source, *arguments, cwd=tmp_path)
        program = tmp_path / source.stem
        run(*COMPILERS[source.suffix], "-Wall", "-Wextra", "-Werror", "-O1", f"-I{ROOT}/include",
            source, "-o", program, f"-L{BUILD}", "-l:libqrx.so.1")
        return run(program, *arguments, cwd=tmp_path)
    return call


def qrx_rows(command):
    return list(csv.DictReader(io.StringIO(run("qrx", *command.split(), "-f", "csv"))))


def test_first_sessions(example):
    ticks = qrx_rows("ticks 600000.SH --from 20240105")
    assert len(ticks) == 4800  # every three seconds of four hours
    assert example("first.c") == "result 0, 4800 ticks\n"
    volume = sum(int(tick["volume"]) for tick in ticks)
    assert example("first.cpp") == f"4800 ticks, volume {volume}\n"
    assert "[4800 rows x 5 columns]" in example("first.py", f"qrx://demo@{ADDRESS}:{PORT}")


def test_vwap(example):
    sums = defaultdict(lambda: [0.0, 0])
    for trade in qrx_rows("trades 000001.SZ --from 20240105"):  # none of them a cancellation
        assert trade["function"] == ""
        key = f"{trade['date'].replace('-', '')} {trade['time'][:5]}"
        sums[key][0] += float(trade["price"]) * int(trade["volume"])
        sums[key][1] += int(trade["volume"])
    said = example("vwap.cpp", ADDRESS, PORT, "demo", "000001.SZ", "20240105").splitlines()
    assert [line.rsplit(" ", 2)[0] for line in said] == sorted(sums) and len(said) > 200
    for line in said:
        key, price, volume = line.rsplit(" ", 2)
        assert int(volume) == sums[key][1]
        assert float(price) == pytest.approx(sums[key][0] / sums[key][1], abs=1e-4)


def test_bars(example, tmp_path):
    example("bars_csv.c", ADDRESS, PORT, "demo", "600000.SH", "20240102", "20240108", "week.csv")
    columns = "code,date,time,open,high,low,close,volume,turnover,trades"
    said = run("qrx", *"bars 600000.SH --cycle 1m --from 20240102 --to 20240108 -f csv".split(),
               "--columns", columns)
    assert (tmp_path / "week.csv").read_text() == said and said.count("\n") > 1000


def test_imbalance(example):
    rows = qrx_rows("ticks 600000.SH --from 20240105 --book")
    middles = [(float(r["ask_price1"]) + float(r["bid_price1"])) / 2 for r in rows]
    changes = []
    for i in range(len(rows) - 20):
        asks, bids = (sum(int(rows[i][f"{side}_volume{n}"]) for n in (1, 2, 3))
                      for side in ("ask", "bid"))
        if (bids - asks) / (bids + asks) > 0.6:  # the last of the five classes
            changes.append(middles[i + 20] - middles[i])
    said = example("imbalance.py", f"qrx://demo@{ADDRESS}:{PORT}", "600000.SH", "2024-01-05")
    count, change = said.splitlines()[-1].split()[-2:]
    assert int(count) == len(changes) > 100
    assert float(change) == pytest.approx(sum(changes) / len(changes), abs=1e-5)
