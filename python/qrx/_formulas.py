"""Stored formulas, their calculation, and the cycles of bars."""

from __future__ import annotations

import ctypes
import re
from collections.abc import Mapping
from dataclasses import dataclass
from typing import TYPE_CHECKING, Any

import numpy as np

from . import _worker
from ._dates import DayRange
from ._generated import CYCLES
from ._library import CalcColumns, Record, before_nul, lib, text_of, texts_of
from ._records import Calculation
from .errors import BadArgument, FormulaRefused, NoData

if TYPE_CHECKING:
    from ._session import Session

MOST_TEXT = 1024 * 1024 - 1  # one more would stop the process
MOST_NAME = 23
MOST_CODE = 8  # of a calculation, without the market: those of options have more
UNITS = {"s": ("CYC_SECOND", 60), "m": ("CYC_MINUTE", 120), "d": ("CYC_DAY", 1000),
         "w": ("CYC_WEEK", 1000), "month": ("CYC_MONTH", 1000), "quarter": ("CYC_QUARTER", 1000),
         "half": ("CYC_HALFYEAR", 1000), "y": ("CYC_YEAR", 1000)}


@dataclass(frozen=True)
class Cycle:
    type: int
    count: int

    @property
    def intraday(self) -> bool:
        return self.type in (CYCLES["CYC_SECOND"], CYCLES["CYC_MINUTE"])


def parse_cycle(text: Any) -> Cycle:
    form = re.fullmatch(r"(\d{0,6})([a-z]+)", text, re.ASCII) if isinstance(text, str) else None
    if form is None or form[2] not in UNITS:
        raise BadArgument(f"cycle: {text!r} is no cycle",
                          advice="write one such as 30s, 1m, 5m, 1d, 1w, 1month, quarter, half, 1y")
    name, most = UNITS[form[2]]
    count = int(form[1] or 1)
    if not 1 <= count <= most:
        raise BadArgument(f"cycle: {text} is out of range",
                          advice=f"write one from 1{form[2]} to {most}{form[2]}")
    return Cycle(CYCLES[name], count)


@dataclass(frozen=True)
class Formula:
    """A stored formula; cut: the server hands out the first 128 bytes of the text only."""

    name: str
    text: str
    cut: bool


class Formulas:
    """The stored formulas of the server."""

    def __init__(self, session: Session) -> None:
        self._session = session

    def __repr__(self) -> str:
        return f"<formulas of {self._session!r}>"

    def _encode(self, text: Any, name: str, most: int) -> bytes:
        encoding = self._session._target.options.encoding
        if not isinstance(text, str) or not text or "\0" in text:
            raise BadArgument(f"{name}: {text!r:.60} is no such text",
                              advice='write name="MY_MA", text="MA5 = MA(CLOSE, 5)"')
        try:
            raw = text.encode(encoding)
        except UnicodeError as error:
            raise BadArgument(f"{name}: {encoding} has no {text[error.start]!r}" if
                              isinstance(error, UnicodeEncodeError) else f"{name}: {error}",
                              advice="write it without that character") from None
        if len(raw) > most:
            raise BadArgument(f"{name}: has {len(raw)} bytes", advice=f"at most {most} can be sent")
        return raw

    def add(self, name: str, text: str) -> str:
        """Stores a formula, and gives the server's text."""
        raw_name = self._encode(name, "name", MOST_NAME)
        raw_text = self._encode(text, "text", MOST_TEXT)
        session = self._session
        handle, answer = session._open_handle(), Record("QRXDefine_AddFormulaRes")
        code = _worker.run(
            lambda: int(lib.QRX_AddFormula(handle, raw_name, raw_text, answer.address)),
            session.close, lambda late: None)
        said = text_of(answer["szAddInfo"], session._target.options.encoding)
        if code == FormulaRefused.code:
            raise FormulaRefused(f"the server refused the formula {name}", text=said)
        session._fail(code, "formulas")
        return said

    def _rows(self, raw_name: bytes, what: str) -> list[Formula]:
        rows = self._session._call("QRX_GetFormula", "QRXDefine_FormulaItem",
                                   ctypes.create_string_buffer(raw_name), what)
        encoding = self._session._target.options.encoding
        names, texts = (texts_of(rows[m], encoding) for m in ("szFormulaName", "szFormulaText"))
        raw = before_nul(rows["szFormulaText"])
        return list(map(Formula, names, texts, (np.char.str_len(raw) == raw.itemsize).tolist()))

    def list(self) -> list[Formula]:
        """All formulas; an empty list if there are none."""
        try:
            return self._rows(b"", "formulas")
        except NoData:
            return []

    def show(self, name: str) -> Formula:
        """One formula."""
        try:
            return self._rows(self._encode(name, "name", MOST_NAME), "formulas")[0]
        except NoData:
            raise NoData(f"there are no formulas named {name}",
                         advice="see formulas.list() for those that are stored") from None

    def delete(self, name: str) -> str:
        """Deletes a formula, and gives the server's text."""
        raw = self._encode(name, "name", MOST_NAME)
        self.show(name)
        session = self._session
        handle, answer = session._open_handle(), Record("QRXDefine_DelFormulaRes")
        code = _worker.run(lambda: int(lib.QRX_DeleteFormula(handle, raw, answer.address)),
                           session.close, lambda late: None)
        session._fail(code, "formulas")
        said = text_of(answer["szDelInfo"], session._target.options.encoding)
        # The answer has no code for a refusal: whether the formula is still there tells.
        try:
            self.show(name)
        except NoData:
            return said
        raise FormulaRefused(f"the server kept the formula {name}", text=said,
                             advice="ask the server's operator who may delete it")


def _params(params: Any) -> bytes:
    advice = 'write such as {"N": 5, "M": 20} or "N=5;M=20"'
    if isinstance(params, Mapping):
        for key, value in params.items():
            if isinstance(value, bool) or not isinstance(value, (int, float, np.number)):
                raise BadArgument(f"params: {key}={value!r} is no number", advice=advice)
        params = ";".join(f"{key}={value}" for key, value in params.items())
    text = "" if params is None else params
    if not isinstance(text, str) or not text.isascii() or len(text) > 31 or "\0" in text:
        raise BadArgument(f"params: {params!r} is no text of at most 31 characters", advice=advice)
    return text.encode()


def calculate(session: Session, formula: str, row: Any, days: DayRange, cycle: str, params: Any,
              adjust: str) -> Calculation:
    if not isinstance(adjust, str) or adjust not in ("none", "backward"):
        raise BadArgument(f"adjust: {adjust!r} is not to be had for formulas",
                          advice='write "none" or "backward"')
    parsed = parse_cycle(cycle)
    name = text_of(row["szVelaCode"], "ascii")
    if len(name.rpartition(".")[0]) > MOST_CODE:
        raise BadArgument(f"code: a calculation takes codes of at most {MOST_CODE} characters, not "
                          f"{name}", advice="ask for its bars, and calculate over their columns")
    request, result = Record("QRXDefine_ReqCalcFormula"), Record("QRXDefine_CalcFormulaRes")
    request["szFormulaName"] = session.formulas._encode(formula, "formula", MOST_NAME)
    request["szParam"], request["szVelaCode"] = _params(params), row["szVelaCode"]
    request["nCycType"], request["nCycDef"] = parsed.type, parsed.count
    request["nCQFlag"] = 2 if adjust == "backward" else 0
    request["nBeginDate"], request["nEndDate"] = days.first, days.last
    request["nBeginTime"], request["nEndTime"] = days.begin_time, days.end_time
    handle = session._open_handle()

    def call() -> tuple[int, CalcColumns]:
        code = lib.QRX_CalcFormula(handle, request.address, result.address)
        return code, CalcColumns(result)

    code, columns = _worker.run(call, session.close, lambda late: None)
    # A column without values takes the rows away from the whole result.
    if code == NoData.code or (code == 0 and int(result["nRecordCount"]) <= 0):
        raise NoData(f"{formula} over {name} {days} gave no rows",
                     advice="see whether there are bars, and whether formulas.list() has it; the "
                            "server's log says why")
    session._fail(code, f"rows of {formula} over {name} {days}")
    # The answer's code is in the case that the code column of bars has.
    return Calculation(columns, text_of(result["szVelaCode"], "ascii"), session._target.options)
