"""The session grids, through the small library that stands beside libqrx.so.

What the library cannot lay onto a grid would stop the process in it: records are fetched plain
first and held against the very tables and steps that completion uses.
"""

from __future__ import annotations

import ctypes
from dataclasses import dataclass
from functools import lru_cache
from typing import Any

import numpy as np

from ._generated import CYCLES
from ._library import Pointer, declare, place_of
from .errors import CannotComplete, OutOfMemory

KINDS = {"QRXDefine_KLine": 0, "QRXDefine_Future": 1, "QRXDefine_FutureAB": 2}
SENTENCE_BYTES = 512


@lru_cache(maxsize=None)
def _lib() -> ctypes.CDLL:
    number, pointer = ctypes.c_int, Pointer
    return declare(place_of("libqrx_grids.so.1"), {
        "QrxWhyNotCompletable": (number, [number, pointer, pointer, number, number,
                                          ctypes.c_char_p, ctypes.c_size_t]),
        "QrxGridRow": (number, [number, pointer, pointer, pointer]),
        "QrxGridPoints": (number, [number, number, number, number, pointer, number])})


def check(record: str, code: Any, rows: np.ndarray[Any, np.dtype[np.void]] | None = None,
          day: int = 0) -> None:
    """Raises CannotComplete for records (of a trading day, if they are snapshots) that cannot be
    completed; without records for a market that has no grid. code: a record of the code table."""
    security = np.array(code)
    why = ctypes.create_string_buffer(SENTENCE_BYTES)
    address, count = (0, 0) if rows is None else (int(rows.ctypes.data), len(rows))
    outcome = _lib().QrxWhyNotCompletable(KINDS[record], int(security.ctypes.data), address, count,
                                          day, why, len(why))
    if outcome < 0:
        raise OutOfMemory("the grid of a day does not fit into memory")
    if outcome:
        raise CannotComplete(f"complete: {why.value.decode('ascii', 'replace')}")


@dataclass(frozen=True)
class GridRow:
    """A row of the table of bar grids. products: beginnings of codes, none for the market's
    others. first_night: the first trading day with a night session, 0 for none."""

    number: int
    market: str
    products: tuple[str, ...]
    first_night: int

    def points(self, trading_day: int, cycle: str = "CYC_MINUTE",
               count: int = 1) -> np.ndarray[Any, np.dtype[np.int32]]:
        """Date and time of each grid point of a trading day, as rows."""
        lib, kind = _lib(), CYCLES[cycle]
        number = lib.QrxGridPoints(self.number, trading_day, kind, count, None, 0)
        found = np.empty((number, 2), np.int32)
        lib.QrxGridPoints(self.number, trading_day, kind, count, int(found.ctypes.data), number)
        return found


def grid_rows() -> list[GridRow]:
    market, products, night = ctypes.c_char_p(), ctypes.c_char_p(), ctypes.c_int()
    found: list[GridRow] = []
    while _lib().QrxGridRow(len(found), ctypes.byref(market), ctypes.byref(products),
                            ctypes.byref(night)):
        assert market.value is not None and products.value is not None
        found.append(GridRow(len(found), market.value.decode(),
                             tuple(products.value.decode().split()), night.value))
    return found
