"""Pictures with matplotlib: candles with volume, the book's depth through a day, formulas.

Each takes a result and gives its Axes; nothing is shown or saved by itself. Nights and breaks take
no room: the horizontal axis counts bars, and its labels say when.
"""

from __future__ import annotations

from collections.abc import Sequence
from typing import Any

import numpy as np

from ._fill import Array
from ._records import Calculation, Records
from .errors import BadArgument

UP, DOWN = "#c23b22", "#2a7f62"  # red is up, as at these exchanges
LEAST_BARS = 8  # that a picture has room for
MOST_LINES = 240  # of a picture of depth


def _axes(axes: Any, rows: int = 1) -> Any:
    if axes is not None:
        return axes
    import matplotlib.pyplot as plt

    _, made = plt.subplots(rows, 1, sharex=True, figsize=(11, 6), layout="constrained",
                           gridspec_kw={"height_ratios": [3, 1][:rows]})
    for one in np.atleast_1d(made):
        one.grid(alpha=0.25, linewidth=0.6)
        one.set_axisbelow(True)
        one.spines[["top", "right"]].set_visible(False)
    return made


MOST_LABELS = 10
LEAST_BETWEEN = 1 / 22  # of the width, from one label to the next
STEPS = np.array([1, 5, 10, 15, 30, 60, 120, 240, 1440], "timedelta64[m]")


def label_places(times: Array) -> Array:
    """Places of at most MOST_LABELS labels: each the first of a new minute, hour or day."""
    for step in STEPS:
        whole = times.astype("datetime64[m]").astype(np.int64) // step.astype(np.int64)
        places = np.flatnonzero(np.diff(whole, prepend=whole[:1] - 1))
        if len(places) <= MOST_LABELS:
            break
    places = places[::-(-len(places) // MOST_LABELS)]
    # Before a break, one that would touch the next gives way, but not one that begins a day.
    days = times[places].astype("datetime64[D]")
    begins = np.diff(days, prepend=days[:1] - 1) > np.timedelta64(0)
    close = np.diff(places, append=2 * len(times)) < len(times) * LEAST_BETWEEN
    return places[begins | ~close]


def _label_times(axes: Any, times: Array) -> None:
    """The axis counts rows; labels say when, with the date where a new one begins."""
    from matplotlib.ticker import FuncFormatter, Locator

    class Places(Locator):  # type: ignore[misc]
        def __call__(self) -> Array:
            return self.tick_values(*sorted(self.axis.get_view_interval()))

        def tick_values(self, first: float, last: float) -> Array:
            begin = min(max(0, int(np.ceil(first))), len(times) - 1)
            seen = times[begin:max(begin + 1, int(last) + 1)]
            return begin + label_places(seen)

    days = times.astype("datetime64[D]")
    daily = bool((days == times).all())
    one_day = bool((days == days[0]).all())

    def label(place: float, _: object) -> str:
        at = round(place)
        if not 0 <= at < len(times):
            return ""
        date, clock = str(times[at].astype("datetime64[m]")).split("T")
        if daily:
            return date
        return clock if one_day or (at and days[at] == days[at - 1]) else f"{clock}\n{date[5:]}"

    axes.xaxis.set_major_locator(Places())
    axes.xaxis.set_major_formatter(FuncFormatter(label))


def _thousands(axes: Any) -> None:
    from matplotlib.ticker import FuncFormatter

    axes.yaxis.set_major_formatter(FuncFormatter(lambda value, _: f"{value:,.0f}"))


CHINESE = ["Noto Sans CJK SC", "Source Han Sans SC", "WenQuanYi Micro Hei", "WenQuanYi Zen Hei",
           "Microsoft YaHei", "PingFang SC", "Heiti SC", "SimHei"]


def _say(*texts: Any) -> None:
    """Gives texts the fonts with Chinese letters that there are, for what the usual one lacks."""
    from matplotlib import rcParams
    from matplotlib.font_manager import fontManager

    there = {font.name for font in fontManager.ttflist}
    for text in texts:
        text.set_family([*rcParams["font.family"], *(name for name in CHINESE if name in there)])


def _title(records: Records, times: Array) -> str:
    first, last = str(times[0].astype("datetime64[D]")), str(times[-1].astype("datetime64[D]"))
    return f"{records.column('code')[0]}  {first}" + (f" to {last}" if last != first else "")


def _expect(records: Any, record: Sequence[str], call: str) -> None:
    got = getattr(records, "_record", type(records).__name__)
    if got not in record:
        raise BadArgument(f"{call} cannot draw a {got}", advice=f"pass it {_MAKERS[call]}")
    if len(records) == 0:
        raise BadArgument(f"{call} got no rows", advice="pass it at least one")


_MAKERS = {"candles": 's.bars("600000.SH", "1d", 20240102, 20240131)',
           "formula": 's.calc("MY_MA", "600000.SH", 20240102, 20240131)',
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
    _thousands(lower)
    _say(upper.set_title(_title(bars, times) if title is None else title))
    for patch in upper.patches:
        patch.sticky_edges.y.clear()  # else the lowest body would stand on the axis
    middle, half = (len(bars) - 1) / 2, max(len(bars), LEAST_BARS) / 2
    for one in (upper, lower):
        one.set_xlim(middle - 1.02 * half, middle + 1.02 * half)
    upper.autoscale_view(scalex=False)
    _label_times(lower, times)
    return upper, lower


def depth(ticks: Records, *, axes: Any = None, title: str | None = None,
          steps: int = 600) -> Any:
    """The volume at each price of the book through a day, and the last price.

    ticks: with book. The snapshots are thinned out to at most `steps` columns; prices that are too
    close to be told apart share a line, which shows their sum.
    """
    from matplotlib.cm import ScalarMappable
    from matplotlib.colors import LogNorm
    from matplotlib.patches import Patch

    _expect(ticks, ["QRXDefine_TickAB", "QRXDefine_FutureAB"], "depth")
    axes = _axes(axes)
    rows = ticks[np.unique(np.linspace(0, len(ticks) - 1, min(steps, len(ticks))).astype(int))]
    fields, unit = rows.view(np.ndarray), rows._options.price_unit
    prices = np.concatenate([fields["nBook1"], fields["nBook3"]], axis=1)
    levels = np.unique(prices[prices > 0])
    if len(levels) == 0:
        raise BadArgument("depth got a book without prices", advice=f"pass it {_MAKERS['depth']}")
    step = int(np.gcd.reduce(np.diff(levels))) if len(levels) > 1 else 1
    first, span = int(levels[0]), int(levels[-1] - levels[0])
    step *= -(-(span + step) // step // MOST_LINES)
    extent = (-0.5, len(rows) - 0.5, (first - step / 2) / unit,
              (first + (span // step + 0.5) * step) / unit)
    pictures = []
    for price, volume in (("nBook1", "nBook2"), ("nBook3", "nBook4")):
        picture = np.zeros((span // step + 1, len(rows)))
        there = fields[price] > 0
        at, _ = np.nonzero(there)
        np.add.at(picture, ((fields[price][there] - first) // step, at), fields[volume][there])
        pictures.append(np.where(picture > 0, picture, np.nan))
    found = np.concatenate(pictures)
    norm = LogNorm(max(1, np.nanmin(found)), max(2, np.nanmax(found)))
    for picture, colors in zip(pictures, ("Oranges", "Blues")):
        axes.imshow(picture, origin="lower", aspect="auto", cmap=colors, norm=norm,
                    interpolation="nearest", extent=extent)
    last = rows.column("price", "float")
    [line] = axes.plot(np.where(last > 0, last, np.nan), color="black", linewidth=1)
    axes.figure.colorbar(ScalarMappable(norm, "Greys"), ax=axes, label="volume", pad=0.01)
    axes.set_ylabel("price")
    _say(axes.set_title(_title(ticks, ticks.column("time")) if title is None else title))
    axes.legend([Patch(color="#f16913"), line, Patch(color="#4292c6")],
                ["asks", "last price", "bids"], loc="best")
    _label_times(axes, rows.column("time"))
    return axes


def formula(calc: Calculation, columns: Sequence[str] | None = None, *, axes: Any = None,
            price: bool = False, title: str | None = None) -> Any:
    """Columns of a calculation as lines. price: they are prices, in the unit of the connection.

    Over candles of the same bars: formula(calc, axes=candles(bars)[0], price=True). The zeros that
    a column has before it is defined are not drawn.
    """
    _expect(calc, ["Calculation"], "formula")
    drawn = [c for c in calc._select(columns, "int") if c.kind == "Number"]
    if not drawn:
        raise BadArgument("columns: code and time are not drawn",
                          advice=f"write some of {', '.join(calc.columns[2:])}")
    own = axes is None
    axes = _axes(axes)
    for column in drawn:
        values = calc.column(column.name) / (calc._options.price_unit if price else 1)
        values[:int(np.argmax(values != 0))] = np.nan
        axes.plot(values, linewidth=1.2, label=column.name)
    _say(*axes.legend(loc="best").get_texts())
    if own:
        _say(axes.set_title(calc._code if title is None else title))
        axes.margins(x=0.01)
        _label_times(axes, calc.column("time"))
    return axes
