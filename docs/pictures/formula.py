"""Bollinger bands, computed on the server by a formula, over candles."""

import os
import sys

import qrx

BANDS = """MID = MA(CLOSE, N)
UPPER = MID + 2 * STD(CLOSE, N)
LOWER = MID - 2 * STD(CLOSE, N)
"""

with qrx.connect(f"qrx://demo@{os.environ['QRX_SERVER']}",
                 password_file=os.environ["QRX_PASSWORD_FILE"]) as s:
    when = ("rb2403.SHF", "2024-01-04", "2024-01-05")
    s.formulas.add("BANDS", BANDS)
    bars = s.bars(when[0], "5m", *when[1:])
    bands = s.calc("BANDS", *when, cycle="5m", params={"N": 20})
    s.formulas.delete("BANDS")

price, volume = qrx.plot.candles(bars)
qrx.plot.formula(bands, axes=price, price=True)
price.figure.savefig(sys.argv[1])
