"""The shortest useful program in Python: a day of ticks as a table.

    QRX_PASSWORD=demo python3 first.py qrx://demo@127.0.0.1:7700
"""

import sys

import qrx

with qrx.connect(sys.argv[1]) as s:
    ticks = s.ticks("600000.SH", "2024-01-05", book=True)
    print(ticks.to_pandas(price="float")[["time", "price", "volume", "bid_price1", "ask_price1"]])
