"""Pictures with matplotlib: candles with volume, the book's depth through a day, formulas.

Each takes a result and gives its Axes; nothing is shown or saved by itself. Nights and breaks take
no room: the horizontal axis counts bars, and its labels say when.
"""

from __future__ import annotations

from collections.abc import Sequence
from typing import Any

import numpy as np

from ._records import Calculation, Records
from ._table import Array
from .errors import BadArgument

UP, DOWN = "#c23b22", "#2a7f62"  # red is up, as at these exchanges


def _axes(axes: Any, rows: int = 1) -> Any:
    if axes is not None:
        return axes
    import matplotlib.pyplot as plt

    heights = [3, 1][:rows]
    _, made = plt.subplots(rows, 1, sharex=True, figsize=(11, 6), layout="constrained",
                           gridspec_kw={"height_ratios": heights})
    return made


def _label_times(axes: Any, times: Array) -> None:
    """At whole places only, dates where they change or when there is one bar a day."""
    from matplotlib.ticker import FuncFormatter, MaxNLocator

    one_day = bool((times.astype("datetime64[D]") == times[0].astype("datetime64[D]")).all())
    daily = bool((times.astype("datetime64[D]") == times).all())

    def label(place: float, _: object) -> str:
        if not 0 <= round(place) < len(times):
            return ""
        text = str(times[round(place)].astype("datetime64[m]"))
        return text[11:] if one_day else text[:10] if daily else text[5:].replace("T", "\n")

    axes.xaxis.set_major_locator(MaxNLocator(8, integer=True))
    axes.xaxis.set_major_formatter(FuncFormatter(label))


def _title(records: Records, times: Array) -> str:
    first, last = str(times[0].astype("datetime64[D]")), str(times[-1].astype("datetime64[D]"))
    return f"{records.column('code')[0]}  {first}" + (f" to {last}" if last != first else "")


def _expect(records: Any, record: Sequence[str], call: str) -> None:
    if not isinstance(records, Records) or records._record not in record:
        raise BadArgument(f"{call} cannot draw {records!r:.80}", advice=f"pass it {_MAKERS[call]}")
    if len(records) == 0:
        raise BadArgument(f"{call} got no rows", advice="pass it at least one")


_MAKERS = {"candles": 's.bars("600000.SH", "1d", 20240102, 20240131)',
           "depth": 's.ticks("600000.SH", 20240105, book=True)'}


def candles(bars: Records, *, axes: Any = None, title: str | None = None) -> Any:
    """Candles, with volume below. axes: two Axes of your own. Gives the two Axes."""
    _expect(bars, ["QRXDefine_KLine"], "candles")
    upper, lower = _axes(axes, 2)
    times = bars.column("time")
    opens, high, low, close = (bars.column(name, "float")
                               for name in ("open", "high", "low", "close"))
    places = np.arange(len(bars))
    for chosen, color in ((close >= opens, UP), (close < opens, DOWN)):
        at = places[chosen]
        upper.vlines(at, low[chosen], high[chosen], color=color, linewidth=0.8)
        least = (high.max() - low.min()) / 500  # a bar without a body still shows
        upper.bar(at, np.maximum(np.abs(close - opens)[chosen], least), 0.7,
                  np.minimum(opens, close)[chosen], color=color)
        lower.bar(at, bars.column("volume")[chosen], 0.7, color=color)
    upper.set_ylabel("price")
    lower.set_ylabel("volume")
    upper.set_title(_title(bars, times) if title is None else title)
    upper.margins(x=0.01)
    _label_times(lower, times)
    return upper, lower


def depth(ticks: Records, *, axes: Any = None, title: str | None = None,
          steps: int = 600) -> Any:
    """The volume at each price of the book through a day, asks above, bids below the last price.

    ticks: with book. The snapshots are thinned out to at most `steps` columns.
    """
    from matplotlib.colors import LogNorm

    _expect(ticks, ["QRXDefine_TickAB", "QRXDefine_FutureAB"], "depth")
    axes = _axes(axes)
    rows = ticks[np.unique(np.linspace(0, len(ticks) - 1, min(steps, len(ticks))).astype(int))]
    times = rows.column("time")
    fields = rows.view(np.ndarray)
    prices = np.concatenate([fields["nBook1"], fields["nBook3"]], axis=1)
    volumes = np.concatenate([fields["nBook2"], fields["nBook4"]], axis=1)
    levels = np.unique(prices[prices > 0])
    if len(levels) == 0:
        raise BadArgument("depth got a book without prices", advice=f"pass it {_MAKERS['depth']}")
    step = int(np.gcd.reduce(np.diff(levels))) if len(levels) > 1 else 1
    first, height = int(levels[0]), int(levels[-1] - levels[0]) // step + 1
    if height > 20_000:
        raise BadArgument("depth: the prices are too far apart to draw",
                          advice="pass it fewer days")
    picture = np.zeros((height, len(rows)))
    columns = np.broadcast_to(np.arange(len(rows))[:, None], prices.shape)
    there = prices > 0
    picture[(prices[there] - first) // step, columns[there]] = volumes[there]
    unit = rows._options.price_unit
    image = axes.imshow(
        np.where(picture > 0, picture, np.nan), origin="lower", aspect="auto", cmap="viridis",
        norm=LogNorm(max(1, picture[picture > 0].min()), max(2, picture.max())),
        interpolation="nearest",
        extent=(-0.5, len(rows) - 0.5, (first - step / 2) / unit,
                (first + (height - 0.5) * step) / unit))
    last = rows.column("price", "float")
    axes.plot(np.where(last > 0, last, np.nan), color="#d62728", linewidth=1, label="last price")
    axes.figure.colorbar(image, ax=axes, label="volume", pad=0.01)
    axes.set_ylabel("price")
    axes.set_title(_title(ticks, ticks.column("time")) if title is None else title)
    axes.legend(loc="upper left")
    _label_times(axes, times)
    return axes


def formula(calc: Calculation, columns: Sequence[str] | None = None, *, axes: Any = None,
            price: bool = False, title: str | None = None) -> Any:
    """Columns of a calculation as lines. price: they are prices, in the unit of the connection.

    Over candles of the same bars: formula(calc, axes=candles(bars)[0], price=True).
    """
    if len(calc) == 0:
        raise BadArgument("formula got no rows", advice="pass it what s.calc gave")
    own = axes is None
    axes = _axes(axes)
    for column in calc._select(columns, "int"):
        if column.kind == "Number":
            values = calc.column(column.name)
            axes.plot(values / calc._options.price_unit if price else values, label=column.name)
    axes.legend(loc="upper left")
    if own:
        axes.set_title(calc._code if title is None else title)
        axes.margins(x=0.01)
        _label_times(axes, calc.column("time"))
    return axes
