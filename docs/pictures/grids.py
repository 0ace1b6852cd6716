"""Sessions and slots of an exchange, from the library's own table and from real answers.

    python3 grids.py FOLDER
"""

import os
import sys

import matplotlib.pyplot as plt
import numpy as np

import qrx
from qrx._fill import moments
from qrx._grids import grid_rows

DAY = 20240105
# A quiet security of each market, to be shown as it came and as it was completed.
QUIET = {"SH": "000400.SZ", "CF": "T2403.CF", "SHF": "wr2403.SHF", "DCE": "a2403.DCE",
         "CZC": "WH403.CZC"}
NOTES = {"CZC": "no slots, they stay as they came",
         "DCE": "two slots a second, for what is stamped with exactly that second"}
BAR, SLOT = "#2a6f97", "#c05621"
NIGHT = ("2024-01-04T20:45", "2024-01-05T02:45")
MORNING = ("2024-01-05T08:40", "2024-01-05T15:30")


def runs(times, step):
    """Begin and end of each stretch of points that are a step apart."""
    cuts = np.flatnonzero(np.diff(times) > step) + 1
    return [(part[0], part[-1] + step) for part in np.split(times, cuts)]


def hours(axes, bounds):
    first, last = (np.datetime64(b) for b in bounds)
    axes.set_xlim(first, last)
    whole = np.arange(first.astype("M8[h]"), last + np.timedelta64(1, "h"), 1, "M8[h]")
    whole = whole[whole > first]
    axes.set_xticks(whole, [str(t)[11:13] + ":00" for t in whole], fontsize=8)


def band(axes_pair, row, times, step, color, alpha=1.0):
    for begin, end in runs(times, step):
        axes = axes_pair[0] if end <= np.datetime64(NIGHT[1]) else axes_pair[1]
        axes.barh(row, end - begin, 0.52, begin, color=color, alpha=alpha)
        label = f"{str(begin)[11:16]}–{str(end)[11:16]}"
        axes.text(begin + (end - begin) / 2, row, label, ha="center", va="center", color="white",
                  fontsize=7.5)


def names(row):
    if row.products:
        return " ".join(row.products)
    return "others" if any(r.market == row.market and r.products for r in grid_rows()) else "all"


def sessions(axes_pair, market, slots):
    """A row for each group of products, and one for the slots of snapshots."""
    minute = np.timedelta64(1, "m")
    labels = []
    for row in (r for r in grid_rows() if r.market == market):
        points = row.points(DAY)
        band(axes_pair, len(labels), moments(points[:, 0], points[:, 1]).astype("M8[ms]"), minute,
             BAR)
        night = str(row.first_night)
        since = f"\nnights from {night[:4]}-{night[4:6]}-{night[6:]}" if row.first_night else ""
        labels.append(f"bars: {names(row)}{since}")
    if slots is not None:
        steps = np.timedelta64(1000, "ms")
        open_slot, rest = slots[0], slots[1:]
        band(axes_pair, len(labels), rest, steps, SLOT)
        axes_pair[1].plot(open_slot, len(labels), "D", color=SLOT, markeredgecolor="white",
                          markersize=7)
        labels.append(f"snapshots: {len(slots):,} slots,\nfirst at {str(open_slot)[11:21]}")
    axes_pair[1].set_ylim(len(labels) - 0.4, -0.6)
    left = axes_pair[0] or axes_pair[1]
    left.set_yticks(range(len(labels)), labels, fontsize=8)


def came_and_completed(axes, plain, full, first, last, what):
    """Two lines of marks: the records as they came, and the slots that they became."""
    first, last = np.datetime64(first), np.datetime64(last)
    for line, (records, name) in enumerate(((plain, "as it came"), (full, "completed"))):
        times = records.column("time")
        seen = (times >= first) & (times < last)
        times, traded = times[seen], records.column("volume")[seen] > 0
        # Two slots of one second stand above each other.
        again = np.r_[False, times[1:] == times[:-1]]
        height = line + np.where(again, 0.28, 0.0)
        axes.plot(times[traded], height[traded], "o", color=SLOT, markersize=6)
        axes.plot(times[~traded], height[~traded], "o", markerfacecolor="none",
                  markeredgecolor=SLOT, markersize=6)
        axes.text(-0.01, line, name, transform=axes.get_yaxis_transform(), ha="right", va="center",
                  fontsize=8)
    axes.set_ylim(1.6, -0.5)
    axes.set_xlim(first - (last - first).astype("m8[ms]") / 66, last)
    step = np.timedelta64(1 if last - first < np.timedelta64(20, "s") else 10, "s")
    ticks = np.arange(first, last, step)
    axes.set_xticks(ticks, [str(t)[11:19] for t in ticks], fontsize=8)
    axes.set_yticks([])
    axes.grid(axis="x", alpha=0.3)
    axes.set_title(f"{what}; filled: with volume, hollow: without", fontsize=9, loc="left")


def draw(session, market, path):
    code, stocks = QUIET[market], market == "SH"
    slots = None
    if stocks:
        plain, full = (session.bars(code, "3s", DAY, complete=c) for c in (False, True))
        span, what = ("2024-01-05T10:00", "2024-01-05T10:02"), f"Bars of three seconds of {code}"
    else:
        plain, full = (session.futures(code, DAY, complete=c) for c in (False, True))
        slots = full.column("time") if market != "CZC" else None
        opens = str(slots[1])[:19] if slots is not None else "2024-01-05T09:00:00"
        span = (opens, np.datetime64(opens) + np.timedelta64(10, "s"))
        what = f"Snapshots of {code} in the first ten seconds"
        if market in NOTES:
            what += f": {NOTES[market]}"
    groups = sum(r.market == market for r in grid_rows()) + (slots is not None)
    nights = any(r.market == market and r.first_night for r in grid_rows())
    figure = plt.figure(figsize=(11, 1.9 + 0.62 * groups), layout="constrained")
    upper, lower = figure.subfigures(2, 1, height_ratios=[0.55 + 0.62 * groups, 1.35])
    if nights:
        night, morning = upper.subplots(1, 2, sharey=True,
                                        gridspec_kw={"width_ratios": [6, 6.83], "wspace": 0.02})
        hours(night, NIGHT)
        night.set_title("the night before", fontsize=9, loc="left")
    else:
        night, morning = None, upper.subplots()
    hours(morning, MORNING)
    morning.set_title("the day", fontsize=9, loc="left")
    for axes in filter(None, (night, morning)):
        axes.spines[["top", "right", "left"]].set_visible(False)
        axes.tick_params(axis="y", length=0)
        axes.grid(axis="x", alpha=0.3)
        axes.set_axisbelow(True)
    sessions((night, morning), market, slots)
    below = lower.subplots()
    below.spines[["top", "right", "left"]].set_visible(False)
    came_and_completed(below, plain, full, *span, what)
    figure.savefig(path, dpi=110)


if __name__ == "__main__":
    with qrx.connect(f"qrx://demo@{os.environ['QRX_SERVER']}",
                     password_file=os.environ["QRX_PASSWORD_FILE"]) as opened:
        for name in QUIET:
            draw(opened, name, f"{sys.argv[1]}/grid-{name}.png")
