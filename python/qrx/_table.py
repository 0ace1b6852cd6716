"""What has named columns: the way from integers to pandas, polars and Arrow."""

from __future__ import annotations

import difflib
import importlib
from collections.abc import Iterable, Sequence
from dataclasses import dataclass
from typing import TYPE_CHECKING, Any, Literal

import numpy as np

from ._fill import Array, Coded, Copied, Step, Timed, side_by_side, work_through
from .errors import BadArgument

if TYPE_CHECKING:
    import pandas as pd

Price = Literal["int", "float"]


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
        if self.kind == "Moment":
            return np.dtype("datetime64[ms]")
        if price == "float" and self.kind in ("Price", "Amount"):
            return np.dtype(np.float64)
        return np.dtype(self.dtype)

    def field(self, layout: np.dtype[Any], price: Price) -> tuple[int, tuple[np.dtype[Any], ...]]:
        """Its offset in a record; its type there and in a column."""
        assert layout.fields is not None
        dtype = np.dtype(self.dtype)
        offset = layout.fields[self.member][1] + (self.place or 0) * dtype.itemsize
        return offset, (dtype, self.stored(price))


class Table:
    """What has columns: records of every kind, and calculations."""

    _options: Options

    def _all_columns(self) -> list[Column]:
        raise NotImplementedError

    def _count(self) -> int:
        raise NotImplementedError

    def _layout(self) -> np.dtype[Any]:
        """Records with the members of all columns, and nDate and nTime for a Moment."""
        raise NotImplementedError

    def _load(self, records: Array, begin: int) -> None:
        """Copies those from begin on into records."""
        raise NotImplementedError

    def _texts(self, column: Column, start: int = 0, stop: int | None = None) -> Array:
        """A column of Text."""
        raise NotImplementedError

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

    def _fill(self, columns: list[Column], start: int, stop: int, price: Price,
              unit: Literal["ms", "ns"] = "ms") -> tuple[list[Array], list[str]]:
        """The columns without Text, filled; and the codes that those of Code are places in."""
        kept = [column for column in columns if column.kind != "Text"]
        layout, rows = self._layout(), stop - start
        outs: list[Array] = [np.empty(0)] * len(kept)
        steps: list[Step] = []
        coded: dict[int, Coded] = {}
        plain: list[int] = []
        for i, column in enumerate(kept):
            if column.kind == "Code":
                coded[i] = Coded(column.field(layout, price)[0])
            elif column.kind == "Moment":
                outs[i] = np.empty(rows, f"datetime64[{unit}]")
                steps.append(Timed(outs[i].view(np.int64), 1_000_000 if unit == "ns" else 1))
            else:
                plain.append(i)
        fields = [kept[i].field(layout, price) for i in plain]
        for group in side_by_side(fields):
            offset, (dtype, stored) = fields[group[0]]
            block = np.empty((len(group), rows), stored)
            divided = stored == np.float64
            steps.append(Copied(offset, dtype, block, self._options.price_unit if divided else None))
            for place, values in zip(group, block):
                outs[plain[place]] = values
        work_through([*coded.values(), *steps],
                     lambda records, begin: self._load(records, start + begin), layout, rows)
        codes: list[str] = []
        for i, found in coded.items():
            outs[i], codes = found.places(rows), found.texts()
        return outs, codes

    def column(self, name: str, price: Price = "int") -> Array:
        """One column as an array of its own."""
        [column] = self._select([name], price)
        if column.kind == "Text":
            return self._texts(column)
        [filled], codes = self._fill([column], 0, self._count(), price)
        return np.array(codes, object)[filled] if column.kind == "Code" else filled

    def to_pandas(self, *, columns: Sequence[str] | None = None,
                  price: Price = "int") -> pd.DataFrame:
        """A pandas frame. price="float" gives prices and amounts in currency units."""
        import pandas as pd

        selected = self._select(columns, price)
        arrays, codes = self._fill(selected, 0, self._count(), price, "ns")
        filled = iter(arrays)
        found: dict[str, Any] = {}
        for column in selected:
            if column.kind == "Text":
                found[column.name] = self._texts(column)
            elif column.kind == "Code":
                found[column.name] = pd.Categorical.from_codes(next(filled), codes)
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


def _imported(name: str) -> Any:
    try:
        return importlib.import_module(name)
    except ImportError:
        raise ImportError(f"{name} is not installed; install it, or use to_pandas()") from None
