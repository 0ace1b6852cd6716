"""Dates and times of day as people write them, to the library's YYYYMMDD and HHMMSSmmm.

A refusal is one sentence that names the argument and shows a right one.
"""

from __future__ import annotations

import datetime as dt
import re
from dataclasses import dataclass
from typing import Any

from .errors import BadArgument

EXCHANGE = dt.timezone(dt.timedelta(hours=8), "Asia/Shanghai")
DATES = "write one such as 20240105, 2024-01-05 or datetime.date(2024, 1, 5)"
TIMES = "write one such as 09:30, 09:30:00.500, 093000000 or datetime.time(9, 30)"
CLOCK = re.compile(r"(\d\d):(\d\d)(?::(\d\d)(\.\d{1,6})?)?", re.ASCII)
COMPACT_CLOCK = re.compile(r"(\d\d)(\d\d)(?:(\d\d)(\.\d{1,6}|\d{3})?)?", re.ASCII)


def today() -> int:
    """The date at the exchanges."""
    return _date_number(dt.datetime.now(EXCHANGE).date())


def _date_number(day: dt.date) -> int:
    return day.year * 10000 + day.month * 100 + day.day


def _time_number(time: dt.time) -> int:
    seconds = time.hour * 10000 + time.minute * 100 + time.second
    return seconds * 1000 + time.microsecond // 1000


def to_day(number: int) -> dt.date:
    return dt.date(number // 10000, number // 100 % 100, number % 100)


def clock(number: int) -> str:
    """09:30 or 09:30:00.500 of HHMMSSmmm."""
    hour, minute, rest = number // 10000000, number // 100000 % 100, number % 100000
    return f"{hour:02}:{minute:02}" + (f":{rest // 1000:02}.{rest % 1000:03}" if rest else "")


def parse_moment(value: Any, name: str) -> tuple[int, int]:
    """Date and time of day; 0 for a value that has no time, or midnight."""
    if hasattr(value, "dtype") and hasattr(value, "item"):  # NumPy's dates and integers
        if getattr(value.dtype, "kind", "") == "M":
            value = value.astype("datetime64[ms]")
        value = value.item() if value.size == 1 else value.tolist()
    if isinstance(value, dt.datetime):
        try:
            if value.tzinfo is not None:
                value = value.astimezone(EXCHANGE)
            return _date_number(value.date()), _time_number(value.time())
        except (ValueError, OverflowError):  # pandas' NaT is such a datetime
            raise BadArgument(f"{name}: {value} is no date", advice=DATES) from None
    if isinstance(value, dt.date):
        return _date_number(value), 0
    if isinstance(value, bool) or not isinstance(value, (int, str)):
        raise BadArgument(f"{name}: {_shown(value)} is no date", advice=DATES)
    text = str(value).strip()
    if text == "today":
        return today(), 0
    form = re.fullmatch(r"(\d{4})(-?)(\d\d)\2(\d\d)(?:[T ](.+))?", text, re.ASCII)
    if form is not None and form[5] and re.search(r"[+-]\d\d:?\d\d$|Z$", form[5]):
        return _moment_of_zone(text, name)
    if form is None:
        raise BadArgument(f'{name}: "{text}" is no date', advice=DATES)
    try:
        day = dt.date(int(form[1]), int(form[3]), int(form[4]))
    except ValueError:
        raise BadArgument(f"{name}: there is no day {text}", advice=DATES) from None
    if day.year < 1900:
        raise BadArgument(f"{name}: there is no trading on {text}", advice=DATES)
    return _date_number(day), parse_time(form[5], name) if form[5] else 0


def _moment_of_zone(text: str, name: str) -> tuple[int, int]:
    """A text with an offset, such as 2024-01-05T01:30:00+00:00 or one that ends in Z."""
    try:
        moment = dt.datetime.fromisoformat(re.sub(r"Z$", "+00:00", text))
    except ValueError:
        raise BadArgument(f'{name}: "{text}" is no date', advice=DATES) from None
    return parse_moment(moment, name)


def _shown(value: Any) -> str:
    return f"{value!r}" if value is None or isinstance(value, (float, bool)) else (
        f"a value of type {type(value).__name__}")


def parse_time(value: Any, name: str) -> int:
    """HHMMSSmmm of a time, of a text, or of such a number itself; None gives 0. A text of digits
    may end with its minutes, seconds or milliseconds."""
    if value is None:
        return 0
    if isinstance(value, dt.time):
        return _time_number(value)
    if hasattr(value, "dtype") and hasattr(value, "item"):
        value = value.item()
    number = -1
    if isinstance(value, int) and not isinstance(value, bool):
        # A few digits would be milliseconds after midnight, and are meant as hours and minutes.
        number = value if value == 0 or value >= 100000 else -1
    elif isinstance(value, str):
        form = CLOCK.fullmatch(value.strip()) or COMPACT_CLOCK.fullmatch(value.strip())
        if form is not None:
            fraction = (form[4] or "").lstrip(".")
            number = int(form[1] + form[2] + (form[3] or "00") + fraction.ljust(3, "0")[:3])
    else:
        raise BadArgument(f"{name}: {_shown(value)} is no time of day", advice=TIMES)
    hours, minutes, seconds = number // 10000000, number // 100000 % 100, number // 1000 % 100
    if number < 0 or hours > 23 or minutes > 59 or seconds > 59:
        raise BadArgument(f'{name}: "{value}" is no time of day', advice=TIMES)
    return number


@dataclass(frozen=True)
class DayRange:
    """Trading days from first to last, with bounds on the first and on the last (0: none)."""

    first: int
    last: int
    begin_time: int = 0
    end_time: int = 0

    def __str__(self) -> str:
        if self.first == self.last:
            return f"on {to_day(self.first)}"
        return f"from {to_day(self.first)} to {to_day(self.last)}"

    def days(self) -> list[DayRange]:
        """Each weekday by itself."""
        found = []
        day = to_day(self.first)
        while day <= to_day(self.last):
            number = _date_number(day)
            if day.weekday() < 5:
                found.append(DayRange(number, number,
                                      self.begin_time if number == self.first else 0,
                                      self.end_time if number == self.last else 0))
            day += dt.timedelta(days=1)
        return found


def read_range(begin: Any, end: Any, begin_time: Any, end_time: Any) -> DayRange:
    first, from_time = parse_moment("today" if begin is None else begin, "begin")
    last, to_time = (first, 0) if end is None else parse_moment(end, "end")
    from_time = parse_time(begin_time, "begin_time") or from_time
    to_time = parse_time(end_time, "end_time") or to_time
    if last < first:
        if begin is None:
            raise BadArgument(f"begin: without it the range begins today, {to_day(first)}, and "
                              f"end, {to_day(last)}, is before that",
                              advice=f"give the first day too, such as {last}, {last}")
        raise BadArgument(f"end: {to_day(last)} is before begin, {to_day(first)}",
                          advice=f"write the earlier day first, such as {last}, {first}")
    if first == last and 0 < to_time < from_time:
        raise BadArgument(f"end_time: {clock(to_time)} is before begin_time, {clock(from_time)}, "
                          "on one day",
                          advice="write the earlier time as begin_time, such as "
                                 'begin_time="09:30", end_time="15:00"')
    return DayRange(first, last, from_time, to_time)
