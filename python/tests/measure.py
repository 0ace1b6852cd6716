"""Measures ten million ticks to a pandas frame, beside the time of the fetch itself, and memory.

    QRX_BUILD=build python3 python/tests/measure.py [--book] [ROWS]

A day of the real server is taken once and played again, from memory, by a process of its own, as
ten long later days (records of a date before the asked range are kept); no decoding and no disk stands on the server's side.
"""

import multiprocessing
import resource
import socket
import struct
import sys
import tempfile
import time
from pathlib import Path

import numpy as np
from conftest import PASSWORD, demo
from scripted import HEAD, Server

import qrx

DAYS = 10


def exchange(stream, out, kind, body):
    out.sendall(HEAD.pack(21320, kind, len(body), 1) + body)
    packets = []
    while True:
        _, answer, length, _ = HEAD.unpack(stream.read(HEAD.size))
        packets.append((answer, stream.read(length)))
        if kind != 110 or struct.unpack_from("<i", packets[-1][1], 36)[0]:
            return packets


def take_a_day(port, book):
    with socket.create_connection(("127.0.0.1", port)) as out:
        stream = out.makefile("rb")
        exchange(stream, out, 1, b"demo".ljust(16, b"\0") + PASSWORD.encode().ljust(72, b"\0"))
        return exchange(stream, out, 110, b"600000\0\0SH\0\0" + struct.pack("<ii", 3 if book else 2,
                                                                          20240105) + bytes(20))


def played(packets, times):
    """Answers each request with the packets of a day, `times` times, the very last marked so."""

    def answer(_):
        for left in range(times * len(packets) - 1, -1, -1):
            kind, packet = packets[-1 - left % len(packets)]
            yield kind, packet[:36] + struct.pack("<i", left == 0) + packet[40:]

    return answer


def play(packets, times, pipe):
    pipe.send(Server({110: played(packets, times)}).url)
    pipe.recv()


def peak():
    return resource.getrusage(resource.RUSAGE_SELF).ru_maxrss * 1024


def touch(size):
    """Has the machine find as much memory as the next step needs. A virtual machine's host takes
    free memory back, and to get it again takes one to two seconds a gigabyte: whichever half met
    that would be measured for it."""
    np.empty(size, np.uint8)[::4096] = 1


def main():
    book = "--book" in sys.argv
    rows = int(next((a for a in sys.argv[1:] if a.isdigit()), 10_000_000))

    class Folders:
        def mktemp(self, name):
            return Path(tempfile.mkdtemp(prefix=f"qrx-{name}-"))

    running = demo.__wrapped__(Folders()) if hasattr(demo, "__wrapped__") else None
    packets = take_a_day(next(running).port, book)
    next(running, None)
    per_day = sum(struct.unpack_from("<i", p, 32)[0] for _, p in packets)
    times = max(1, round(rows / DAYS / per_day))
    ours, theirs = multiprocessing.Pipe()
    player = multiprocessing.Process(target=play, args=(packets, times, theirs), daemon=True)
    player.start()
    with qrx.connect(ours.recv(), password="x") as s:
        import pandas  # noqa: F401  its loading is not what is measured

        s.ticks("600000.SH", 20240108, book=book).to_pandas()
        base = peak()
        touch(rows * (338 if book else 154))
        begin = time.perf_counter()
        ticks = s.ticks("600000.SH", 20240108, 20240117, book=book)
        fetched = time.perf_counter() - begin
        touch(rows * (278 if book else 95))
        begin = time.perf_counter() - fetched
        frame = ticks.to_pandas(price="float" if "--float" in sys.argv else "int")
        whole = time.perf_counter() - begin
    size = int(frame.memory_usage(deep=False).sum())
    print(f"{len(frame):,} ticks{' with book' if book else ''}: fetch {fetched:.2f} s, with frame "
          f"{whole:.2f} s, {whole / fetched:.2f} times; records {ticks.nbytes / 1e9:.2f} GB, frame "
          f"{size / 1e9:.2f} GB, peak {peak() / 1e9:.2f} GB, {peak() / size:.2f} times the frame "
          f"(before: {base / 1e9:.2f} GB)")
    player.terminate()


if __name__ == "__main__":
    main()
