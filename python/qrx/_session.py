"""A session: one connection to a server, and a method for each kind of data."""

from __future__ import annotations

import ctypes
import difflib
import threading
from collections.abc import Iterator
from dataclasses import dataclass
from types import TracebackType
from typing import Any, Literal

import numpy as np

from . import _connection, _grids, _worker
from ._dates import DayRange, parse_moment, read_range
from ._formulas import Cycle, Formulas, calculate, parse_cycle
from ._library import DTYPES, Record, lib, own, text_of, texts_of
from ._progress import bar
from ._records import Calculation, Records, kinds_of_types, wrap
from .errors import (BadArgument, Disconnected, NoData, SessionClosed, UnknownCode, WrongType,
                     from_code)

Adjust = Literal["none", "forward", "backward"]
NO_DATA, BAD_ARGUMENT = NoData.code, BadArgument.code
ONE_CODE = "write one such as 600000.SH"


@dataclass(frozen=True)
class Code:
    """One security."""

    code: str
    name: str
    market: str
    type: int
    kind: str


@dataclass(frozen=True)
class _Kind:
    """A kind of data that comes day by day."""

    what: str  # a plural
    request: str
    plain: tuple[str, str]  # the library's function and its record
    book: tuple[str, str] | None = None


TICKS = _Kind("ticks", "QRXDefine_ReqTick", ("QRX_GetTick", "QRXDefine_Tick"),
              ("QRX_GetTickAB", "QRXDefine_TickAB"))
TRADES = _Kind("trades", "QRXDefine_ReqTransaction", ("QRX_GetTransaction", "QRXDefine_Transaction"))
ORDERS = _Kind("orders", "QRXDefine_ReqTransaction", ("QRX_GetOrder", "QRXDefine_Order"))
QUEUES = _Kind("order queues", "QRXDefine_ReqTransaction",
               ("QRX_GetOrderQueue", "QRXDefine_OrderQueue"))
FUTURES = _Kind("snapshots", "QRXDefine_ReqFuture", ("QRX_GetFuture", "QRXDefine_Future"),
                ("QRX_GetFutureAB", "QRXDefine_FutureAB"))


class Session:
    """Made by qrx.connect. Any thread may call; calls run one after another.

    Days are trading days: a night session belongs to the day that follows it. begin and end are
    dates (date, "2024-01-05", "20240105", 20240105; None is today at the exchange, and the same
    day); begin_time and end_time bound the first and the last of them. markets: the names of those
    that are open to the user.
    """

    def __init__(self, target: _connection.Target, handle: int, markets: list[str]) -> None:
        self._target = target
        self._handle: int | None = handle
        self._lock = threading.Lock()  # guards the handle against being closed under a look-up
        self.markets = markets
        self.formulas = Formulas(self)

    # -- Life ------------------------------------------------------------------------------

    def __enter__(self) -> Session:
        return self

    def __exit__(self, kind: type[BaseException] | None, error: BaseException | None,
                 trace: TracebackType | None) -> None:
        self.close()

    def close(self) -> None:
        """Ends the session; a call that runs in another thread ends with Disconnected."""
        with self._lock:
            handle, self._handle = self._handle, None
            if handle is not None:
                lib.QRX_Close(handle)

    def __del__(self) -> None:
        if hasattr(self, "_handle"):
            self.close()

    def __reduce__(self) -> Any:
        raise TypeError("a session cannot be copied or pickled; open another with qrx.connect")

    @property
    def closed(self) -> bool:
        """Whether the session was closed."""
        return self._handle is None

    def __repr__(self) -> str:
        return f"<qrx session at {self._target}{', closed' if self.closed else ''}>"

    def _open_handle(self) -> int:
        if self._handle is None:
            raise SessionClosed(f"this session at {self._target} is closed")
        return self._handle

    def _fail(self, code: int, what: str) -> None:
        """Raises for a result code other than 0."""
        if code == 0:
            return
        if self._handle is None and code in (Disconnected.code, BAD_ARGUMENT):
            raise SessionClosed(f"this session at {self._target} was closed")
        raise from_code(code, what, str(self._target))

    # -- Codes -----------------------------------------------------------------------------

    def _table(self, market: str) -> np.ndarray[Any, np.dtype[np.void]]:
        data, count = ctypes.c_void_p(), ctypes.c_int()
        with self._lock:
            code = lib.QRX_GetCodeTable(self._open_handle(), market.encode(), ctypes.byref(data),
                                        ctypes.byref(count))
        self._fail(code, f"securities of {market}" if market else "securities")
        return own(data.value, count.value, "QRXDefine_Code")

    def codes(self, market: str | None = None) -> Records:
        """The code table of a market, or of all."""
        market = "" if market is None else _text(market, "market", "write one such as SH")
        if market and market.upper() not in (known.upper() for known in self.markets):
            raise UnknownCode(f'market: you have no market "{market}"',
                              advice=f"there are {', '.join(self.markets)}")
        return wrap(self._table(market), "QRXDefine_Code", self._target.options)

    def code(self, code: str) -> Code:
        """One security, in any letter case."""
        return self._describe(self._find(code))

    def _describe(self, row: Any) -> Code:
        encoding = self._target.options.encoding
        return Code(text_of(row["szVelaCode"], "ascii"), text_of(row["szName"], encoding),
                    text_of(row["szMarket"], "ascii"), int(row["nType"]),
                    str(kinds_of_types(row["nType"])))

    def _find(self, code: str) -> Any:
        text = _text(code, "code", ONE_CODE)
        name, dot, market = text.rpartition(".")
        if dot and name and market and len(text.encode()) < 32:
            with self._lock:
                found = lib.QRX_GetCodeInfo(self._open_handle(), text.encode())
                if found:
                    raw = ctypes.string_at(found, DTYPES["QRXDefine_Code"].itemsize)
                    return np.frombuffer(raw, DTYPES["QRXDefine_Code"])[0]
        self._open_handle()
        sentence = f"code: there is no security {text}" if dot else f'code: "{text}" lacks its market'
        if dot and market.upper() not in (known.upper() for known in self.markets):
            sentence += f": you have no market {market}, only {', '.join(self.markets)}"
        kind = UnknownCode if dot else BadArgument
        raise kind(sentence, advice=self._candidates(text))

    def _candidates(self, code: str) -> str:
        try:
            rows = self._table("")
        except NoData:
            return ONE_CODE
        plain = code.partition(".")[0].upper()
        known = texts_of(rows["szVelaCode"], "ascii").tolist()
        names = texts_of(rows["szName"], self._target.options.encoding).tolist()
        upper = dict(zip((k.upper() for k in known), known))
        alike = [k for u, k in upper.items() if u.startswith(f"{plain}.")]
        alike += [k for u, k in upper.items() if plain and u.startswith(plain) and k not in alike]
        alike = alike or [k for k, name in zip(known, names) if code.strip() and code.strip() in name]
        alike = alike or [upper[u] for u in difflib.get_close_matches(code.upper(), upper, 3, 0.5)]
        more = f" (or {len(alike) - 5} others that s.codes() has)" if len(alike) > 5 else ""
        return f"did you mean {', '.join(alike[:5])}{more}?" if alike else ONE_CODE

    # -- Fetching --------------------------------------------------------------------------

    def _call(self, function: str, record: str, argument: Any, what: str) -> Records:
        """One call that gives records."""
        handle = self._open_handle()
        call = getattr(lib, function)

        def fetch() -> tuple[int, np.ndarray[Any, np.dtype[np.void]]]:
            data, count = ctypes.c_void_p(), ctypes.c_int()
            address = argument.address if isinstance(argument, Record) else argument
            code = call(handle, address, ctypes.byref(data), ctypes.byref(count))
            return code, own(data.value, count.value if code == 0 else 0, record)

        code, rows = _worker.run(fetch, self.close, lambda result: None)
        self._fail(code, what)
        return wrap(rows, record, self._target.options)

    def _request(self, name: str, row: Any, days: DayRange) -> Record:
        request = Record(name)
        request["chCode"] = row["szVelaCode"]
        request["nBeginDate"], request["nEndDate"] = days.first, days.last
        request["nBeginTime"], request["nEndTime"] = days.begin_time, days.end_time
        return request

    def _fetch(self, kind: _Kind, row: Any, days: DayRange, book: bool, complete: bool) -> Records:
        """With complete a single day."""
        request = self._request(kind.request, row, days)
        function, record = kind.book if book and kind.book else kind.plain
        code = text_of(row["szVelaCode"], "ascii")
        its_kind = str(kinds_of_types(row["nType"] & 0xFF))  # as the library: the low byte decides
        what = f"{kind.what} of {code} {days}"
        contract = its_kind in ("future", "option")
        try:
            if complete and contract:
                _grids.check(record, row)
                _grids.check(record, row, self._call(function, record, request, what), days.first)
                request["nAutoComplete"] = 1
            return self._call(function, record, request, what)
        except WrongType:
            article = "an" if its_kind[0] in "io" else "a"
            raise WrongType(f"{code} is {article} {its_kind}, which has no {kind.what}",
                            advice=f"use s.{'futures' if contract else 'ticks'}") from None

    def _days(self, kind: _Kind, row: Any, days: DayRange, book: bool, complete: bool,
              progress: bool) -> Iterator[Records]:
        code = text_of(row["szVelaCode"], "ascii")
        weekdays = days.days()
        shown = bar(progress, len(weekdays), code)
        empty = True
        try:
            for day in weekdays:
                try:
                    found = self._fetch(kind, row, day, book, complete)
                except NoData:
                    shown.update(1)
                    continue
                empty = False
                shown.update(1)
                yield found
        finally:
            shown.close()
        if empty:
            raise NoData(f"there are no {kind.what} of {code} {days}")

    def _range(self, kind: _Kind, code: str, when: tuple[Any, Any, Any, Any], book: bool = False,
               complete: bool = False, progress: bool = False) -> Records:
        days = read_range(*when)
        row = self._find(code)
        if not progress and not complete:
            return self._fetch(kind, row, days, book, complete)
        parts = list(self._days(kind, row, days, book, complete, progress))
        if len(parts) == 1:
            return parts[0]
        joined = np.concatenate([part.view(np.ndarray) for part in parts])
        return wrap(joined, parts[0]._record, self._target.options)

    def _iterate(self, kind: _Kind, code: str, when: tuple[Any, Any, Any, Any], book: bool = False,
                 complete: bool = False, progress: bool = False) -> Iterator[Records]:
        # The arguments are looked at now, not with the first day.
        return self._days(kind, self._find(code), read_range(*when), book, complete, progress)

    # -- Data ------------------------------------------------------------------------------

    def ticks(self, code: str, begin: Any = None, end: Any = None, *, book: bool = False,
              begin_time: Any = None, end_time: Any = None, progress: bool = False) -> Records:
        """Snapshots, with ten book levels if book. With progress the days are fetched one by one
        and joined."""
        return self._range(TICKS, code, (begin, end, begin_time, end_time), book,
                           progress=progress)

    def trades(self, code: str, begin: Any = None, end: Any = None, *, begin_time: Any = None,
               end_time: Any = None, progress: bool = False) -> Records:
        """Trades and cancellations."""
        return self._range(TRADES, code, (begin, end, begin_time, end_time), progress=progress)

    def orders(self, code: str, begin: Any = None, end: Any = None, *, begin_time: Any = None,
               end_time: Any = None, progress: bool = False) -> Records:
        """Orders."""
        return self._range(ORDERS, code, (begin, end, begin_time, end_time), progress=progress)

    def queues(self, code: str, begin: Any = None, end: Any = None, *, begin_time: Any = None,
               end_time: Any = None, progress: bool = False) -> Records:
        """Order queues at a price."""
        return self._range(QUEUES, code, (begin, end, begin_time, end_time), progress=progress)

    def futures(self, code: str, begin: Any = None, end: Any = None, *, book: bool = False,
                complete: bool = False, begin_time: Any = None, end_time: Any = None,
                progress: bool = False) -> Records:
        """Snapshots of a future or an option, with five book levels if book; with complete each
        day is laid onto its exchange's grid of half seconds, and the days are fetched one by one
        and joined, as with progress."""
        return self._range(FUTURES, code, (begin, end, begin_time, end_time), book, complete,
                           progress)

    def iter_ticks(self, code: str, begin: Any = None, end: Any = None, *, book: bool = False,
                   begin_time: Any = None, end_time: Any = None,
                   progress: bool = False) -> Iterator[Records]:
        """ticks, a day at a time."""
        return self._iterate(TICKS, code, (begin, end, begin_time, end_time), book,
                             progress=progress)

    def iter_trades(self, code: str, begin: Any = None, end: Any = None, *, begin_time: Any = None,
                    end_time: Any = None, progress: bool = False) -> Iterator[Records]:
        """trades, a day at a time."""
        return self._iterate(TRADES, code, (begin, end, begin_time, end_time), progress=progress)

    def iter_orders(self, code: str, begin: Any = None, end: Any = None, *, begin_time: Any = None,
                    end_time: Any = None, progress: bool = False) -> Iterator[Records]:
        """orders, a day at a time."""
        return self._iterate(ORDERS, code, (begin, end, begin_time, end_time), progress=progress)

    def iter_queues(self, code: str, begin: Any = None, end: Any = None, *, begin_time: Any = None,
                    end_time: Any = None, progress: bool = False) -> Iterator[Records]:
        """queues, a day at a time."""
        return self._iterate(QUEUES, code, (begin, end, begin_time, end_time), progress=progress)

    def iter_futures(self, code: str, begin: Any = None, end: Any = None, *, book: bool = False,
                     complete: bool = False, begin_time: Any = None, end_time: Any = None,
                     progress: bool = False) -> Iterator[Records]:
        """futures, a day at a time."""
        return self._iterate(FUTURES, code, (begin, end, begin_time, end_time), book, complete,
                             progress)

    def bars(self, code: str, cycle: str = "1d", begin: Any = None, end: Any = None, *,
             complete: bool = False, adjust: Adjust = "none", adjust_date: Any = None,
             adjust_volume: bool = False, begin_time: Any = None,
             end_time: Any = None) -> Records:
        """Bars of a cycle such as 30s, 1m, 5m, 1d, 1w, 1month, quarter, half, 1y. With complete
        those of seconds and minutes are laid onto their exchange's session grid."""
        days = read_range(begin, end, begin_time, end_time)
        parsed = parse_cycle(cycle)
        if complete and not parsed.intraday:
            raise BadArgument("complete: goes with bars of seconds and minutes",
                              advice='write cycle="5m", or leave complete away')
        row = self._find(code)
        request = self._bar_request(row, parsed, days, adjust, adjust_date, adjust_volume)
        what = f"bars of {text_of(row['szVelaCode'], 'ascii')} {days}"
        if complete:
            _grids.check("QRXDefine_KLine", row)
        bars = self._call("QRX_GetKLine", "QRXDefine_KLine", request, what)
        if complete:
            _grids.check("QRXDefine_KLine", row, bars)
            request["nAutoComplete"] = 1
            bars = self._call("QRX_GetKLine", "QRXDefine_KLine", request, what)
        return bars

    def _bar_request(self, row: Any, cycle: Cycle, days: DayRange, adjust: str, adjust_date: Any,
                     adjust_volume: bool) -> Record:
        modes = {"none": 0, "forward": 1, "backward": 2}
        if not isinstance(adjust, str) or adjust not in modes:
            raise BadArgument(f"adjust: there is no {adjust!r}",
                              advice='write one of "none", "forward" and "backward"')
        request = self._request("QRXDefine_ReqKLine", row, days)
        request["nModeFlag"] = modes[adjust]
        if adjust_date is not None:
            if adjust != "forward":
                raise BadArgument("adjust_date: goes with forward adjustment",
                                  advice='write adjust="forward", adjust_date="2024-01-05"')
            request["nModeDate"] = parse_moment(adjust_date, "adjust_date")[0]
        if adjust_volume and adjust == "none":
            raise BadArgument("adjust_volume: goes with adjusted prices",
                              advice='write adjust="backward", adjust_volume=True')
        request["nModeSwitch"] = 1 if adjust_volume else 0
        request["nCycType"], request["nCycDef"] = cycle.type, cycle.count
        return request

    def calc(self, formula: str, code: str, begin: Any = None, end: Any = None, *,
             cycle: str = "1d", params: dict[str, Any] | str | None = None,
             adjust: Literal["none", "backward"] = "none", begin_time: Any = None,
             end_time: Any = None) -> Calculation:
        """A stored formula over a security's bars; params such as {"N": 5, "M": 20}."""
        days = read_range(begin, end, begin_time, end_time)
        return calculate(self, formula, self._find(code), days, cycle, params, adjust)


def _text(value: Any, name: str, advice: str) -> str:
    if not isinstance(value, str) or "\0" in value or any("\ud800" <= c <= "\udfff" for c in value):
        raise BadArgument(f"{name}: {value!r} is no such text", advice=advice)
    return value.strip()
