"""libqrx.so through ctypes: its functions, records as NumPy structures, and owners of its memory.

ctypes gives the interpreter's lock back during every call.
"""

from __future__ import annotations

import ctypes
import os
from pathlib import Path
from typing import Any

import numpy as np

from ._generated import RECORDS

NAME = "libqrx.so.1"
Pointer = ctypes.c_void_p

DTYPES: dict[str, np.dtype[np.void]] = {
    name: np.dtype(members) for name, members in RECORDS.items()}

_FUNCTIONS: dict[str, tuple[Any, list[Any]]] = {
    "QRX_Open": (Pointer, [Pointer, Pointer]),
    "QRX_OpenProxy": (Pointer, [Pointer, Pointer, Pointer]),
    "QRX_Close": (ctypes.c_int, [Pointer]),
    "QRX_Free": (None, [Pointer]),
    "QRX_GetCodeTable": (ctypes.c_int, [Pointer, ctypes.c_char_p, Pointer, Pointer]),
    "QRX_GetCodeInfo": (Pointer, [Pointer, ctypes.c_char_p]),
    "QRX_AddFormula": (ctypes.c_int, [Pointer, ctypes.c_char_p, ctypes.c_char_p, Pointer]),
    "QRX_GetFormula": (ctypes.c_int, [Pointer, ctypes.c_char_p, Pointer, Pointer]),
    "QRX_DeleteFormula": (ctypes.c_int, [Pointer, ctypes.c_char_p, Pointer]),
    "QRX_CalcFormula": (ctypes.c_int, [Pointer, Pointer, Pointer]),
    "QRX_ReleaseCalcFormula": (None, [Pointer]),
    **{f"QRX_Get{name}": (ctypes.c_int, [Pointer, Pointer, Pointer, Pointer])
       for name in ("Tick", "TickAB", "Transaction", "Order", "OrderQueue", "KLine", "Future",
                    "FutureAB")},
}


def place_of(name: str) -> str:
    """A library of ours: beside $QRX_LIBRARY if that is set, else the one that the wheel carries,
    else the system's."""
    given = os.environ.get("QRX_LIBRARY")
    if given:
        return given if name == NAME else str(Path(given).with_name(name))
    carried = Path(__file__).with_name(name)
    return str(carried) if carried.exists() else name


def declare(place: str, functions: dict[str, tuple[Any, list[Any]]]) -> ctypes.CDLL:
    """Loads a library and tells ctypes of its functions: result and arguments."""
    try:
        library = ctypes.CDLL(place)
        for name, (result, arguments) in functions.items():
            function = getattr(library, name)
            function.restype, function.argtypes = result, arguments
    except (OSError, AttributeError) as error:
        raise ImportError(f"cannot load the library {place}: {error}; install the wheel of qrx, "
                          f"or set QRX_LIBRARY to the path of {NAME}") from None
    return library


lib = declare(place_of(NAME), _FUNCTIONS)


class Record:
    """One zeroed record, to be passed to the library by address."""

    def __init__(self, name: str) -> None:
        self.data: np.ndarray[Any, np.dtype[np.void]] = np.zeros(1, DTYPES[name])
        self.address = int(self.data.ctypes.data)

    def __getitem__(self, member: str) -> Any:
        return self.data[member][0]

    def __setitem__(self, member: str, value: Any) -> None:
        self.data[member][0] = value


class Block:
    """Memory that the library allocated, released with the last array that looks into it."""

    def __init__(self, address: int, size: int) -> None:
        self.address = address
        self.__array_interface__ = {
            "version": 3, "typestr": "|u1", "shape": (size,), "data": (address, False)}

    def __del__(self, free: Any = lib.QRX_Free) -> None:
        free(self.address)


def own(address: int | None, count: int, name: str) -> np.ndarray[Any, np.dtype[np.void]]:
    """The records at address as an array that owns them; nothing is copied."""
    dtype = DTYPES[name]
    if not address:
        return np.empty(0, dtype)
    if count <= 0:
        lib.QRX_Free(address)
        return np.empty(0, dtype)
    block = Block(address, count * dtype.itemsize)
    whole: np.ndarray[Any, np.dtype[np.void]] = np.asarray(block).view(dtype)
    return whole


class CalcColumns:
    """The record of a calculation. Its columns are released with the last array that looks in."""

    def __init__(self, record: Record) -> None:
        self.record = record

    @property
    def rows(self) -> int:
        return max(int(self.record["nRecordCount"]), 0)

    @property
    def names(self) -> list[bytes]:
        names = self.record["chFieldName"]
        return list(map(bytes, names[:min(max(int(self.record["nFieldCount"]), 0), len(names))]))

    def column(self, index: int) -> np.ndarray[Any, np.dtype[np.int32]]:
        address = int(self.record["pnFieldData"][index])
        if not address or self.rows == 0:
            return np.zeros(self.rows, np.int32)
        return np.asarray(_CalcColumn(self, address, self.rows))

    def __reduce__(self) -> Any:
        """What is copied or pickled has columns of its own: addresses mean nothing elsewhere."""
        columns = [self.column(place).copy() for place in range(len(self.names))]
        return CopiedColumns, (self.rows, self.names, columns)

    def __del__(self, release: Any = lib.QRX_ReleaseCalcFormula) -> None:
        release(self.record.address)


class CopiedColumns:
    """The same without the library."""

    def __init__(self, rows: int, names: list[bytes],
                 columns: list[np.ndarray[Any, np.dtype[np.int32]]]) -> None:
        self.rows, self.names, self._columns = rows, names, columns

    def column(self, index: int) -> np.ndarray[Any, np.dtype[np.int32]]:
        return self._columns[index]


class _CalcColumn:
    def __init__(self, owner: CalcColumns, address: int, rows: int) -> None:
        self.owner = owner
        self.__array_interface__ = {
            "version": 3, "typestr": "<i4", "shape": (rows,), "data": (address, False)}


def text_of(raw: bytes, encoding: str) -> str:
    """A text field without what stands behind its NUL; what is no text shows as a mark."""
    return raw.split(b"\0", 1)[0].decode(encoding, "replace")


def before_nul(column: np.ndarray[Any, Any]) -> np.ndarray[Any, Any]:
    """A column of text fields, packed, without what stands behind a NUL."""
    raw = np.array(column)
    letters = raw.view(np.uint8).reshape(len(raw), raw.dtype.itemsize)
    letters[np.logical_or.accumulate(letters == 0, axis=1)] = 0
    return raw


def texts_of(column: np.ndarray[Any, Any], encoding: str) -> np.ndarray[Any, Any]:
    """text_of of every field of a column."""
    return np.char.decode(before_nul(column), encoding, "replace").astype(object)
