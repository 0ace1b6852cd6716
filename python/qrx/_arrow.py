"""A table as a stream of Arrow batches, by the Arrow C data and C stream interfaces.

Each structure's private_data is a key into _kept, which holds what its pointers point to until its
release is called; a structure may be moved, so nothing hangs on its address.
"""

from __future__ import annotations

import ctypes
import gc
import itertools
import sys
from typing import Any

import numpy as np

from ._fill import Array
from ._table import Column, Price, Table

BATCH_ROWS = 1 << 20
Pointer = ctypes.c_void_p
NAME = b"arrow_array_stream"


class CSchema(ctypes.Structure):
    _fields_ = [("format", ctypes.c_char_p), ("name", ctypes.c_char_p),
                ("metadata", ctypes.c_char_p), ("flags", ctypes.c_int64),
                ("n_children", ctypes.c_int64), ("children", Pointer), ("dictionary", Pointer),
                ("release", Pointer), ("private_data", Pointer)]


class CArray(ctypes.Structure):
    _fields_ = [("length", ctypes.c_int64), ("null_count", ctypes.c_int64),
                ("offset", ctypes.c_int64), ("n_buffers", ctypes.c_int64),
                ("n_children", ctypes.c_int64), ("buffers", Pointer), ("children", Pointer),
                ("dictionary", Pointer), ("release", Pointer), ("private_data", Pointer)]


class CStream(ctypes.Structure):
    _fields_ = [("get_schema", Pointer), ("get_next", Pointer), ("get_last_error", Pointer),
                ("release", Pointer), ("private_data", Pointer)]


_kept: dict[int, Any] = {}
_keys = itertools.count(1)


def _keep(what: Any) -> int:
    key = next(_keys)
    _kept[key] = what
    return key


Release = ctypes.CFUNCTYPE(None, Pointer)


def _releaser(kind: Any) -> Any:
    """release of schemas and arrays: their children, what they hold, then the mark of being
    released."""

    def release(address: int) -> None:
        base = kind.from_address(address)
        if base.children:
            for place in (Pointer * base.n_children).from_address(base.children):
                child = kind.from_address(place)
                if child.release:
                    Release(child.release)(place)
        base.release = None
        _kept.pop(base.private_data, None)

    return Release(release)


_release_schema = _releaser(CSchema)
_release_array = _releaser(CArray)


def _address(callback: Any) -> int | None:
    return ctypes.cast(callback, Pointer).value


def _adopt(base: Any, children: list[Any], release: Any, *more: Any) -> None:
    """Gives base its children and what else it holds."""
    places = (Pointer * len(children))(*(ctypes.addressof(child) for child in children))
    base.n_children = len(children)
    base.children = ctypes.addressof(places) if children else None
    base.release = _address(release)
    base.private_data = _keep((children, places, more))


FORMATS = {"i1": b"c", "i4": b"i", "i8": b"l", "f8": b"g", "M8": b"tsm:"}


def _fill_schema(out: CSchema, columns: list[Column], price: Price) -> None:
    children = []
    for column in columns:
        text = column.kind in ("Text", "Code")
        child = CSchema(format=b"u" if text else FORMATS[column.stored(price).str[1:3]],
                        name=column.name.encode())
        _adopt(child, [], _release_schema)
        children.append(child)
    ctypes.memset(ctypes.addressof(out), 0, ctypes.sizeof(out))
    out.format, out.name = b"+s", b""
    _adopt(out, children, _release_schema)


def _leaf(length: int, *buffers: Array) -> CArray:
    """An array without missing values: its first buffer, the validity, is null."""
    places = (Pointer * (1 + len(buffers)))(None, *(b.ctypes.data for b in buffers))
    array = CArray(length=length, n_buffers=len(places), buffers=ctypes.addressof(places))
    _adopt(array, [], _release_array, places, buffers)
    return array


def _texts(texts: Array) -> CArray:
    raw = np.char.encode(texts.astype(np.str_), "utf-8", "replace")
    lengths = np.char.str_len(raw)
    offsets = np.zeros(len(raw) + 1, np.int32)
    np.cumsum(lengths, out=offsets[1:])
    letters = raw.view(np.uint8).reshape(len(raw), raw.dtype.itemsize)
    used = letters[np.arange(raw.dtype.itemsize) < lengths[:, np.newaxis]]
    return _leaf(len(raw), offsets, used if len(used) else np.zeros(1, np.uint8))


def _codes(codes: list[str], places: Array) -> CArray:
    if len(codes) != 1:
        return _texts(np.array(codes, object)[places])
    raw = codes[0].encode()
    offsets = np.arange(len(places) + 1, dtype=np.int32) * np.int32(len(raw))
    return _leaf(len(places), offsets, np.tile(np.frombuffer(raw or b"\0", np.uint8), len(places)))


def _fill_batch(out: CArray, table: Table, columns: list[Column], price: Price,
                start: int, stop: int) -> None:
    arrays, codes = table._fill(columns, start, stop, price)
    filled = iter(arrays)
    children = []
    for column in columns:
        if column.kind == "Code":
            children.append(_codes(codes, next(filled)))
        elif column.kind == "Text":
            children.append(_texts(table._texts(column, start, stop)))
        else:
            children.append(_leaf(stop - start, next(filled)))
    places = (Pointer * 1)(None)
    ctypes.memset(ctypes.addressof(out), 0, ctypes.sizeof(out))
    out.length, out.n_buffers, out.buffers = stop - start, 1, ctypes.addressof(places)
    _adopt(out, children, _release_array, places)


class _Source:
    """What a stream holds: the table, and how far it was read."""

    def __init__(self, table: Table, columns: list[Column], price: Price) -> None:
        self.table, self.columns, self.price = table, columns, price
        self.next = 0
        self.error = ctypes.create_string_buffer(1)


def _guarded(fill: Any) -> Any:
    """Runs fill(source, out): 0, or EIO with the reason for get_last_error."""

    def call(stream: int, out: int) -> int:
        source = _kept[CStream.from_address(stream).private_data]
        try:
            fill(source, out)
            return 0
        except BaseException as error:  # nothing may pass into C
            source.error = ctypes.create_string_buffer(str(error).encode())
            return 5

    return ctypes.CFUNCTYPE(ctypes.c_int, Pointer, Pointer)(call)


@_guarded
def _get_schema(source: _Source, out: int) -> None:
    _fill_schema(CSchema.from_address(out), source.columns, source.price)


@_guarded
def _get_next(source: _Source, out: int) -> None:
    start, stop = source.next, min(source.next + BATCH_ROWS, source.table._count())
    if start >= stop:  # the end is an array that is released already
        ctypes.memset(out, 0, ctypes.sizeof(CArray))
        return
    _fill_batch(CArray.from_address(out), source.table, source.columns, source.price, start, stop)
    source.next = stop


def _last_error(stream: int) -> int | None:
    error = _kept[CStream.from_address(stream).private_data].error
    return ctypes.addressof(error) if error.value else None


def _end_stream(address: int) -> None:
    stream = CStream.from_address(address)
    stream.release = None
    _kept.pop(stream.private_data, None)


_get_last_error = ctypes.CFUNCTYPE(Pointer, Pointer)(_last_error)
_release_stream = Release(_end_stream)

_new = ctypes.pythonapi.PyCapsule_New
_new.restype, _new.argtypes = ctypes.py_object, [Pointer, ctypes.c_char_p, Pointer]

# The capsules with their structures. A destructor in Python would lose an exception that is on its
# way while the capsule goes, so none is set: a capsule that only this list knows is released when
# the next stream is made or the garbage collector runs.
_offered: list[tuple[Any, CStream]] = []


def _references(entry: tuple[Any, Any]) -> int:
    return sys.getrefcount(entry[0])


_ALONE = _references((object(), None))  # what an interpreter counts when only the entry knows it


def _reap() -> None:
    kept = []
    offered, _offered[:] = _offered[:], []
    for entry in offered:
        stream = entry[1]
        if _references(entry) > _ALONE:
            kept.append(entry)
        elif stream.release:
            Release(stream.release)(ctypes.addressof(stream))
    _offered.extend(kept)


def _collected(phase: str, _: dict[str, int]) -> None:
    if phase == "stop" and _offered:
        _reap()


gc.callbacks.append(_collected)


def stream_capsule(table: Table, columns: list[Column], price: Price) -> object:
    """A new capsule with a stream of the columns."""
    _reap()
    stream = CStream(get_schema=_address(_get_schema), get_next=_address(_get_next),
                     get_last_error=_address(_get_last_error), release=_address(_release_stream),
                     private_data=_keep(_Source(table, columns, price)))
    capsule: object = _new(ctypes.addressof(stream), NAME, None)
    _offered.append((capsule, stream))
    return capsule
