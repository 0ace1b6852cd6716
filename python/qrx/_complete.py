"""What the library can lay onto a session grid. Anything else would stop the process in it, so it
is refused here."""

from __future__ import annotations

from ._dates import to_day
from ._generated import GRIDS, NIGHT_END
from .errors import CannotComplete


def check_market(market: str, *, snapshots: bool) -> None:
    if market in GRIDS and (GRIDS[market][0] or not snapshots):
        return
    able = [name for name, row in GRIDS.items() if row[0] or not snapshots]
    raise CannotComplete(f"complete: the market {market} has no session grid; only "
                         f"{', '.join(able)} have one")


def check_first_bar(market: str, date: int, time: int) -> None:
    """A bar before the session has no place on the grid."""
    _, opens, night = GRIDS[market]
    if time >= opens or (night and (time >= night or time <= NIGHT_END)):
        return
    clock = f"{time // 10000000:02}:{time // 100000 % 100:02}:{time // 1000 % 100:02}"
    try:
        day = str(to_day(date))
    except ValueError:
        day = str(date)
    raise CannotComplete(f"complete: the first bar, at {day} {clock}, lies before the session of "
                         f"{market}")
