"""Results: the library's memory as NumPy structured arrays, and calculations of formulas.

The arrays' fields are the C members (r["nPrice"]); columns have the names of the table of fields
(r.column("price"), r.to_pandas()).
"""

from __future__ import annotations

from collections.abc import Iterator
from functools import lru_cache
from typing import Any

import numpy as np

from ._fill import Array
from ._generated import FIELDS
from ._library import DTYPES, CalcColumns, CopiedColumns, text_of, texts_of
from ._table import Column, Options, Table

# Of every record the groups of columns that it consists of.
GROUPS = {
    "QRXDefine_Tick": ["Tick"],
    "QRXDefine_TickAB": ["Tick", "Book"],
    "QRXDefine_Transaction": ["Transaction"],
    "QRXDefine_Order": ["Order"],
    "QRXDefine_OrderQueue": ["OrderQueue"],
    "QRXDefine_KLine": ["Bar"],
    "QRXDefine_Future": ["Future", "FutureTotal", "FutureDay"],
    "QRXDefine_FutureAB": ["Future", "FutureBook", "FutureTotal", "FutureDay"],
}
CODE_COLUMNS = [Column("code", "Text", "S32", "szVelaCode"), Column("name", "Text", "S32", "szName"),
                Column("market", "Text", "S8", "szMarket"), Column("type", "Count", "<i4", "nType"),
                Column("kind", "Text", "S32")]


def kinds_of_types(numbers: Array) -> Array:
    kinds = [numbers < 16, (112 <= numbers) & (numbers <= 125), numbers & 0xF0 == 0x90]
    return np.select(kinds, ["index", "future", "option"], "security").astype(object)


@lru_cache(maxsize=None)
def columns_of(record: str) -> list[Column]:
    """code, time (the moment, from date and time of day), then the rest of the table of fields."""
    if record not in GROUPS:
        return CODE_COLUMNS
    dtype = DTYPES[record]
    found = [Column("code", "Code", "S32", "chVelaCode"), Column("time", "Moment", "<i8")]
    for group in GROUPS[record]:
        for member, place, name, kind in FIELDS[group]:
            if kind not in ("Date", "Time"):
                base = dtype[member].base
                found.append(Column(name, kind, base.str, member, place))
    return found


class Records(Table, np.ndarray[Any, np.dtype[np.void]]):
    """Records of one kind as a structured array over the library's own memory, which is released
    when the last array that looks into it goes."""

    _options: Options
    _record: str

    def __array_finalize__(self, source: Any) -> None:
        self._options = getattr(source, "_options", Options())
        self._record = getattr(source, "_record", "")

    def __getitem__(self, key: Any) -> Any:
        if isinstance(key, str) and key not in (self.dtype.names or ()):
            raise ValueError(f'no field "{key}": those have the names of C, such as '
                           f'{(self.dtype.names or ("none",))[-1]}; write .column("{key}")')
        item = super().__getitem__(key)
        if isinstance(item, Records) and item.dtype != self.dtype:
            return item.view(np.ndarray)  # a field
        return item

    def __repr__(self) -> str:
        if self.ndim != 1 or self.dtype != DTYPES.get(self._record):  # what NumPy made of them
            return repr(self.view(np.ndarray))
        return f"<{len(self)} records {self._record}: {', '.join(self.columns[:6])}, ...>"

    def __reduce__(self) -> Any:
        return (wrap, (self.view(np.ndarray).copy(), self._record, self._options))

    def _all_columns(self) -> list[Column]:
        return columns_of(self._record)

    def _count(self) -> int:
        return len(self)

    def _layout(self) -> np.dtype[Any]:
        return self.dtype

    def _load(self, records: Array, begin: int) -> None:
        # As bytes: records would be copied member by member.
        raw = f"V{self.dtype.itemsize}"
        np.copyto(records.view(raw), self.view(np.ndarray)[begin:begin + len(records)].view(raw))

    def _texts(self, column: Column, start: int = 0, stop: int | None = None) -> Array:
        rows = self.view(np.ndarray)[start:stop]
        if not column.member:
            return kinds_of_types(rows["nType"])
        return texts_of(rows[column.member], self._options.encoding)


def wrap(rows: np.ndarray[Any, np.dtype[np.void]], record: str, options: Options) -> Records:
    records = rows.view(Records)
    records._options, records._record = options, record
    return records


class Calculation(Table):
    """Columns of a calculated formula, each the library's own memory: calc["MA"], calc.names."""

    def __init__(self, columns: CalcColumns | CopiedColumns, code: str, options: Options) -> None:
        self._columns, self._code, self._options = columns, code, options
        self.names = [text_of(raw, options.encoding) for raw in columns.names]
        self._has_time = len(self.names) > 1 and self.names[1] == "Time"

    def __len__(self) -> int:
        return self._count()

    def __getitem__(self, name: str) -> Array:
        if name not in self.names:
            raise KeyError(f"{name}; there are {', '.join(self.names)}")
        return self._columns.column(self.names.index(name))

    def __iter__(self) -> Iterator[str]:
        return iter(self.names)

    def __contains__(self, name: object) -> bool:
        return name in self.names

    def __repr__(self) -> str:
        return f"<calculation of {len(self)} rows for {self._code}: {', '.join(self.names)}>"

    def _all_columns(self) -> list[Column]:
        found = [Column("code", "Code", "S32", "chVelaCode"), Column("time", "Moment", "<i8")]
        skipped = 2 if self._has_time else 1
        return found + [Column(name, "Number", "<i4", f"n{place}")
                        for place, name in enumerate(self.names) if place >= skipped]

    def _count(self) -> int:
        return self._columns.rows

    def _layout(self) -> np.dtype[Any]:
        return np.dtype([("chVelaCode", "S32"), ("nDate", "<i4"), ("nTime", "<i4")]
                        + [(f"n{place}", "<i4") for place in range(len(self.names))])

    def _load(self, records: Array, begin: int) -> None:
        end = begin + len(records)
        records["chVelaCode"] = self._code.encode()
        records["nDate"] = self._columns.column(0)[begin:end]
        records["nTime"] = self._columns.column(1)[begin:end] if self._has_time else 0
        for place in range(len(self.names)):
            records[f"n{place}"] = self._columns.column(place)[begin:end]
