"""What has named columns: the way from integers to pandas, polars and Arrow.

Columns are filled with NumPy a run of rows at a time, so that a run is read from memory once and
serves all columns from the cache.
"""

from __future__ import annotations

import difflib
import importlib
import os
import threading
from collections.abc import Iterable, Sequence
from concurrent.futures import ThreadPoolExecutor
from dataclasses import dataclass
from typing import TYPE_CHECKING, Any, Literal

import numpy as np

from .errors import BadArgument

if TYPE_CHECKING:
    import pandas as pd

Price = Literal["int", "float"]
Array = np.ndarray[Any, np.dtype[Any]]

NOT_A_TIME = np.iinfo(np.int64).min
DAY_MS = 86_400_000
RUN_BYTES = 4 << 20  # short runs cost more in taking the interpreter's lock than they save
ROWS_A_THREAD = 1 << 18
MOST_THREADS = 4


@dataclass(frozen=True)
class Options:
    """What a connection says about its texts and prices."""

    price_unit: int = 10000
    encoding: str = "gb18030"


@dataclass(frozen=True)
class Column:
    """Kinds are those of the table of fields, and Text, Code (one value repeated), Moment."""

    name: str
    kind: str
    dtype: str  # of the integers as sent
    member: str = ""
    place: int | None = None

    def stored(self, price: Price) -> np.dtype[Any]:
        if self.kind == "Text":
            return np.dtype(object)
        if self.kind == "Code":
            return np.dtype(np.int32)  # places in a CodeBook
        if self.kind == "Moment":
            return np.dtype("datetime64[ms]")
        if price == "float" and self.kind in ("Price", "Amount"):
            return np.dtype(np.float64)
        return np.dtype(self.dtype)


class CodeBook:
    """The distinct codes of a column in the order of their appearance: mostly one."""

    def __init__(self) -> None:
        self._raw: list[bytes] = []
        self._lock = threading.Lock()

    def _place(self, code: bytes) -> int:
        with self._lock:
            if code not in self._raw:
                self._raw.append(code)
            return self._raw.index(code)

    def places(self, codes: Array) -> Array:
        """Each code's place. Those of one call are alike, and compared as words, not as texts."""
        words = np.lib.stride_tricks.as_strided(codes[:1].view("<u8"), (len(codes), 4),
                                                (codes.strides[0], 8))
        if all(bool((words[:, i] == words[0, i]).all()) for i in range(4)):
            return np.full(1, self._place(bytes(codes[0])), np.int32)
        distinct, inverse = np.unique(codes, return_inverse=True)
        return np.array([self._place(bytes(code)) for code in distinct], np.int32)[inverse]

    def texts(self) -> list[str]:
        return [raw.split(b"\0", 1)[0].decode("ascii", "replace") for raw in self._raw]


def day_ms(dates: Array) -> Array:
    """Milliseconds since 1970 at the begin of each YYYYMMDD, NOT_A_TIME where there is no such
    day. Few days are distinct, and mostly one."""
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


def moments(dates: Array, times: Array) -> Array:
    """Milliseconds since 1970, exchange-local, from YYYYMMDD and HHMMSSmmm.

    h * 10**7 + m * 10**5 + s * 10**3 + ms becomes milliseconds by taking 40000 from each whole
    minute and 2400000 more from each hour.
    """
    days = day_ms(dates)
    minutes = times // 100_000
    of_day = times - minutes * 40_000 - minutes // 100 * 2_400_000
    if len(days) == 1 and days[0] != NOT_A_TIME:
        result: Array = of_day + days[0]
        return result
    return np.where(days == NOT_A_TIME, NOT_A_TIME, days + of_day)


class Table:
    """What has columns: records of every kind, and calculations."""

    _options: Options

    def _all_columns(self) -> list[Column]:
        raise NotImplementedError

    def _count(self) -> int:
        raise NotImplementedError

    def _run(self, column: Column, start: int, stop: int) -> Array:
        """Integers (of a Moment: ms since 1970), of Code 32 bytes, of Text strings."""
        raise NotImplementedError

    def _row_bytes(self) -> int:
        return 256

    @property
    def columns(self) -> list[str]:
        """Names of the columns that to_pandas and its kind give."""
        return [column.name for column in self._all_columns()]

    def _select(self, names: Sequence[str] | None, price: str) -> list[Column]:
        if price not in ("int", "float"):
            raise BadArgument(f'price: "{price}" is neither int nor float',
                              advice='write price="float" for prices in currency units')
        known = {column.name: column for column in self._all_columns()}
        if isinstance(names, str):
            raise BadArgument(f'columns: "{names}" is a text, not a list of names',
                              advice=f'write one such as columns=["{nearest(names, known)}"]')
        if names is None:
            return list(known.values())
        if not isinstance(names, Iterable):
            raise BadArgument(f"columns: a {type(names).__name__} is no list of names",
                              advice='write one such as columns=["time"]')
        names = list(names)
        for name in names:
            if name not in known:
                raise BadArgument(f'columns: there is no column "{name}"',
                                  advice=f'write one such as "{nearest(str(name), known)}"')
        return [known[name] for name in names]

    def _fill(self, columns: list[Column], start: int, stop: int,
              price: Price) -> tuple[list[Array], list[str]]:
        """The columns without Text, filled; and the codes that those of Code are places in."""
        book = CodeBook()
        kept = [c for c in columns if c.kind != "Text"]
        outs = [np.empty(stop - start, c.stored(price)) for c in kept]
        step = max(1, RUN_BYTES // self._row_bytes())
        parts = min(MOST_THREADS, os.cpu_count() or 1, 1 + (stop - start) // ROWS_A_THREAD)
        bounds = [start + (stop - start) * i // parts for i in range(parts + 1)]

        def fill(first: int, last: int) -> None:
            for begin in range(first, last, step):
                end = min(begin + step, last)
                for column, out in zip(kept, outs):
                    into = out[begin - start:end - start]
                    values = self._run(column, begin, end)
                    if column.kind == "Code":
                        into[:] = book.places(values)
                    elif column.kind == "Moment":
                        into.view(np.int64)[:] = values
                    elif out.dtype == np.float64:
                        np.divide(values, self._options.price_unit, out=into)
                    else:
                        into[:] = values

        if parts == 1:
            fill(start, stop)
        else:  # NumPy gives the interpreter's lock back while it copies
            with ThreadPoolExecutor(parts) as pool:
                list(pool.map(fill, bounds[:-1], bounds[1:]))
        return outs, book.texts()

    def column(self, name: str, price: Price = "int") -> Array:
        """One column as an array of its own."""
        [column] = self._select([name], price)
        if column.kind == "Text":
            return self._run(column, 0, self._count())
        [filled], codes = self._fill([column], 0, self._count(), price)
        return np.array(codes, object)[filled] if column.kind == "Code" else filled

    def to_pandas(self, *, columns: Sequence[str] | None = None,
                  price: Price = "int") -> pd.DataFrame:
        """A pandas frame. price="float" gives prices and amounts in currency units."""
        import pandas as pd

        selected = self._select(columns, price)
        arrays, codes = self._fill(selected, 0, self._count(), price)
        filled = iter(arrays)
        found: dict[str, Any] = {}
        for column in selected:
            if column.kind == "Text":
                found[column.name] = self._run(column, 0, self._count())
            elif column.kind == "Code":
                found[column.name] = pd.Categorical.from_codes(next(filled), codes)
            elif column.kind == "Moment":
                found[column.name] = _nanoseconds(next(filled))
            else:
                found[column.name] = next(filled)
        return pd.DataFrame(found, copy=False)

    def stream(self, *, columns: Sequence[str] | None = None, price: Price = "int") -> ArrowSource:
        """An object with __arrow_c_stream__, for any consumer of the Arrow PyCapsule interface."""
        return ArrowSource(self, self._select(columns, price), price)

    def __arrow_c_stream__(self, requested_schema: object = None) -> object:
        return self.stream().__arrow_c_stream__(requested_schema)

    def to_polars(self, *, columns: Sequence[str] | None = None, price: Price = "int") -> Any:
        """A polars frame, handed over through the PyCapsule interface."""
        return _imported("polars").DataFrame(self.stream(columns=columns, price=price))

    def to_arrow(self, *, columns: Sequence[str] | None = None, price: Price = "int") -> Any:
        """A pyarrow table, handed over through the PyCapsule interface."""
        return _imported("pyarrow").table(self.stream(columns=columns, price=price))


class ArrowSource:
    """Columns of a table on offer to Arrow consumers."""

    def __init__(self, table: Table, columns: list[Column], price: Price) -> None:
        self.table, self.columns, self.price = table, columns, price

    def __arrow_c_stream__(self, requested_schema: object = None) -> object:
        from ._arrow import stream_capsule

        return stream_capsule(self.table, self.columns, self.price)


def nearest(word: str, known: Iterable[str]) -> str:
    """The known word that is most like this one."""
    return max(known, key=lambda k: difflib.SequenceMatcher(None, word.lower(), k.lower()).ratio())


def _nanoseconds(times: Array) -> Array:
    """datetime64[ms] to [ns] in its own place, so that pandas 1 need not copy."""
    numbers = times.view(np.int64)
    missing = numbers == NOT_A_TIME
    np.multiply(numbers, 1_000_000, out=numbers)
    if missing.any():
        numbers[missing] = NOT_A_TIME
    return numbers.view("datetime64[ns]")


def _imported(name: str) -> Any:
    try:
        return importlib.import_module(name)
    except ImportError:
        raise ImportError(f"{name} is not installed; install it, or use to_pandas()") from None
