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
TIMES = "write one such as 09:30, 09:30:00.500 or datetime.time(9, 30)"


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
        value = value.item()
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
        raise BadArgument(f"{name}: a {type(value).__name__} is no date", advice=DATES)
    text = str(value).strip()
    if text == "today":
        return today(), 0
    form = re.fullmatch(r"(\d{4})(-?)(\d\d)\2(\d\d)(?:[T ](.+))?", text, re.ASCII)
    if form is None:
        raise BadArgument(f'{name}: "{text}" is no date', advice=DATES)
    try:
        day = dt.date(int(form[1]), int(form[3]), int(form[4]))
    except ValueError:
        raise BadArgument(f"{name}: there is no day {text}", advice=DATES) from None
    if day.year < 1900:
        raise BadArgument(f"{name}: there is no trading on {text}", advice=DATES)
    return _date_number(day), parse_time(form[5], name) if form[5] else 0


def parse_time(value: Any, name: str) -> int:
    """HHMMSSmmm of a time, of a text, or of such a number itself; None gives 0."""
    if value is None:
        return 0
    if isinstance(value, dt.time):
        return _time_number(value)
    if hasattr(value, "dtype") and hasattr(value, "item"):
        value = value.item()
    number = -1
    if isinstance(value, int) and not isinstance(value, bool):
        number = value
    elif isinstance(value, str):
        form = re.fullmatch(r"(\d\d):(\d\d)(?::(\d\d)(?:\.(\d{1,3}))?)?", value.strip(), re.ASCII)
        if form is not None:
            number = int(form[1] + form[2] + (form[3] or "00") + (form[4] or "").ljust(3, "0"))
    else:
        raise BadArgument(f"{name}: a {type(value).__name__} is no time of day", advice=TIMES)
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
        raise BadArgument(f"end: {to_day(last)} is before begin, {to_day(first)}",
                          advice=f"write the earlier day first, such as {last}, {first}")
    if first == last and 0 < to_time < from_time:
        raise BadArgument(f"end_time: {clock(to_time)} is before begin_time, {clock(from_time)}, "
                          "on one day",
                          advice="write the earlier time as begin_time, such as "
                                 'begin_time="09:30", end_time="15:00"')
    return DayRange(first, last, from_time, to_time)
