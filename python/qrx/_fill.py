"""The way from packed records to columns, with NumPy and several threads.

A run of records is copied into the cache at one go, which memory serves best, and read from there
for all columns. Fields that lie side by side become columns with one call: every call gives the
interpreter's lock back, and few and long ones keep threads from waiting for it.
"""

from __future__ import annotations

import os
import threading
from collections.abc import Callable, Sequence
from concurrent.futures import ThreadPoolExecutor
from typing import Any

import numpy as np

Array = np.ndarray[Any, np.dtype[Any]]

NOT_A_TIME = np.iinfo(np.int64).min
DAY_MS = 86_400_000
RUN_BYTES = 1 << 20  # of records; with their columns they fit into a second cache
STRETCH_ROWS = 1 << 16  # what is computed from columns alone goes by more rows than a run has
ROWS_A_THREAD = 1 << 18
MOST_THREADS = 4


def day_ms(dates: Array) -> Array:
    """Milliseconds since 1970 at the begin of each YYYYMMDD, NOT_A_TIME where there is no such
    day. Few days are distinct, and mostly one: then that one alone is given."""
    if len(dates) and bool((dates == dates[0]).all()):
        return np.full(1, _one_day_ms(int(dates[0])))
    distinct, places = np.unique(dates, return_inverse=True)
    return np.array([_one_day_ms(int(d)) for d in distinct], np.int64)[places]


def _one_day_ms(number: int) -> int:
    if not 16780101 <= number <= 22611231:  # what nanoseconds in pandas can hold
        return NOT_A_TIME
    try:
        text = f"{number // 10000:04}-{number // 100 % 100:02}-{number % 100:02}"
        return int(np.datetime64(text, "D").astype(np.int64)) * DAY_MS
    except ValueError:
        return NOT_A_TIME


def moments(dates: Array, times: Array, scale: int = 1, out: Array | None = None) -> Array:
    """Milliseconds since 1970, or as many times scale, exchange-local, from YYYYMMDD and HHMMSSmmm.

    h * 10**7 + m * 10**5 + s * 10**3 + ms becomes milliseconds by taking 40000 from each whole
    minute and 2400000 more from each hour.
    """
    found: Array = np.empty(len(times), np.int64) if out is None else out
    days = day_ms(dates)
    minutes = times // 100_000
    hours = minutes // 100
    minutes *= 40_000
    hours *= 2_400_000
    minutes += hours
    np.copyto(found, times - minutes)  # until here, 32 bits are enough for any times
    found *= scale
    found += days * scale
    if NOT_A_TIME in days:
        found[np.broadcast_to(days == NOT_A_TIME, found.shape)] = NOT_A_TIME
    return found


def fields_of(records: Array, offset: int, dtype: np.dtype[Any], count: int) -> Array:
    """(count, records): fields that lie side by side, the first of them at offset."""
    return np.ndarray((count, len(records)), dtype, records.data, offset,
                      (dtype.itemsize, records.itemsize))


class Step:
    """What is done with every run: records, which are in the cache, become rows begin to end; and
    with every stretch of runs."""

    def take(self, records: Array, begin: int, end: int) -> None:
        raise NotImplementedError

    def finish(self, begin: int, end: int) -> None:
        pass


class Copied(Step):
    """Fields that lie side by side become columns, divided if there is a divisor."""

    def __init__(self, offset: int, dtype: np.dtype[Any], columns: Array,
                 divisor: int | None) -> None:
        self._field, self._columns, self._divisor = (offset, dtype, len(columns)), columns, divisor

    def take(self, records: Array, begin: int, end: int) -> None:
        values, out = fields_of(records, *self._field), self._columns[:, begin:end]
        np.copyto(out, values)
        if self._divisor is not None:
            out /= self._divisor  # in the cache, where dividing contiguous floats is cheap


class Timed(Step):
    """Dates and times become moments, in units of which a millisecond has as many as scale."""

    def __init__(self, column: Array, scale: int) -> None:
        self._column, self._scale = column, scale
        self._parts = column.view(np.int32).reshape(-1, 2)  # date and time, until they are one

    def take(self, records: Array, begin: int, end: int) -> None:
        self._parts[begin:end, 0] = records["nDate"]
        self._parts[begin:end, 1] = records["nTime"]

    def finish(self, begin: int, end: int) -> None:
        dates, times = self._parts[begin:end].T.copy()
        moments(dates, times, self._scale, self._column[begin:end])


class Coded(Step):
    """Codes become places among the distinct ones, in the order of their appearance."""

    def __init__(self, offset: int) -> None:
        self._offset = offset
        self._raw: list[bytes] = []
        self._runs: list[tuple[int, int, Array]] = []
        self._lock = threading.Lock()

    def _place(self, code: bytes) -> int:
        code = code.split(b"\0", 1)[0]
        with self._lock:
            if code not in self._raw:
                self._raw.append(code)
            return self._raw.index(code)

    def take(self, records: Array, begin: int, end: int) -> None:
        codes: Array = np.ndarray(len(records), "S32", records.data, self._offset,
                                  (records.itemsize,)).copy()
        words = codes.view(np.uint64)  # mostly all codes are alike, and so is each and the next
        if bool((words[4:] == words[:-4]).all()):
            self._runs.append((begin, end, np.array(self._place(codes[:1].tobytes()))))
            return
        distinct, inverse = np.unique(codes, return_inverse=True)
        places = np.array([self._place(bytes(code)) for code in distinct], np.int32)
        self._runs.append((begin, end, places[inverse]))

    def texts(self) -> list[str]:
        return [raw.decode("ascii", "replace") for raw in self._raw]

    def places(self, rows: int) -> Array:
        """Those of all rows. pandas takes as few bytes for them as it can: one, if they fit."""
        column: Array = np.zeros(rows, np.int8 if len(self._raw) <= 128 else np.int32)
        if len(self._raw) > 1:
            for begin, end, places in self._runs:
                column[begin:end] = places
        return column


def side_by_side(fields: Sequence[tuple[int, Any]]) -> list[list[int]]:
    """Places of the fields (offset, kind), those together that follow each other in a record and
    are of one kind: (dtype, ...)."""
    groups: list[list[int]] = []
    for i in sorted(range(len(fields)), key=lambda i: fields[i][0]):
        offset, kind = fields[i]
        before, its_kind = fields[groups[-1][-1]] if groups else (0, None)
        if kind == its_kind and offset - before == kind[0].itemsize:
            groups[-1].append(i)
        else:
            groups.append([i])
    return groups


def work_through(steps: list[Step], load: Callable[[Array, int], None], dtype: np.dtype[Any],
                 rows: int) -> None:
    """Has load(records, begin) put a run of records after the other into the cache, and does all
    steps with each."""
    run = max(1, RUN_BYTES // dtype.itemsize)
    parts = min(MOST_THREADS, os.cpu_count() or 1, 1 + rows // ROWS_A_THREAD)
    bounds = [rows * i // parts for i in range(parts + 1)]

    def through(first: int, last: int) -> None:
        scratch = np.empty(run, dtype)
        for stretch in range(first, last, STRETCH_ROWS):
            stop = min(stretch + STRETCH_ROWS, last)
            for begin in range(stretch, stop, run):
                end = min(begin + run, stop)
                records = scratch[:end - begin]
                load(records, begin)
                for step in steps:
                    step.take(records, begin, end)
            for step in steps:
                step.finish(stretch, stop)

    if parts == 1:
        through(0, rows)
        return
    with ThreadPoolExecutor(parts) as pool:
        list(pool.map(through, bounds[:-1], bounds[1:]))
