"""Days done of a long fetch: tqdm's bar if it is installed, a plain line on the terminal if not."""

from __future__ import annotations

import sys
from typing import Any, Protocol


class Progress(Protocol):
    def update(self, n: int = 1) -> Any: ...

    def close(self) -> Any: ...


class _Silent:
    def update(self, n: int = 1) -> None:
        pass

    def close(self) -> None:
        pass


class PlainBar:
    """A line such as "600000.SH [#####.....] 5/10 days"."""

    WIDTH = 30

    def __init__(self, total: int, what: str) -> None:
        self.total, self.what, self.done = total, what, 0
        self.update(0)

    def update(self, n: int = 1) -> None:
        self.done += n
        marks = self.WIDTH * self.done // max(self.total, 1)
        sys.stderr.write(f"\r{self.what} [{'#' * marks:.<{self.WIDTH}}] "
                         f"{self.done}/{self.total} days")
        sys.stderr.flush()

    def close(self) -> None:
        sys.stderr.write("\n")


def bar(wanted: bool, total: int, what: str) -> Progress:
    if not wanted:
        return _Silent()
    try:
        from tqdm.auto import tqdm
    except ImportError:
        return PlainBar(total, what)
    made: Progress = tqdm(total=total, desc=what, unit="day")
    return made
