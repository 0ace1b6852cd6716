"""Does the order book know where the price goes? The imbalance of its best levels, and the mean
change of the middle price in the minute that follows.

    QRX_PASSWORD=demo python3 imbalance.py qrx://demo@127.0.0.1:7700 600000.SH 2024-01-05
"""

import sys

import numpy as np
import pandas as pd

import qrx

LEVELS = 3
AHEAD = 20  # snapshots, which are three seconds apart

with qrx.connect(sys.argv[1]) as s:
    book = s.ticks(sys.argv[2], sys.argv[3], book=True)

# Fields of the records, without a copy; sums in 64 bits.
asks = book["nBook2"][:, :LEVELS].sum(axis=1)
bids = book["nBook4"][:, :LEVELS].sum(axis=1)
quoted = (book["nBook1"][:, 0] > 0) & (book["nBook3"][:, 0] > 0)
middle = (book["nBook1"][:, 0].astype(np.int64) + book["nBook3"][:, 0]) / 2 / 10000

frame = pd.DataFrame({"imbalance": (bids - asks) / np.maximum(bids + asks, 1),
                      "change": np.append(middle[AHEAD:] - middle[:-AHEAD], [np.nan] * AHEAD)})
frame = frame[quoted & np.append(quoted[AHEAD:], [False] * AHEAD)]
bins = pd.cut(frame.imbalance, [-1, -0.6, -0.2, 0.2, 0.6, 1], include_lowest=True)
print(frame.groupby(bins).change.agg(["count", "mean"]).rename(columns={"mean": "change"}).round(5))
