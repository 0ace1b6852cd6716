"""The book of a stock through a day, ten levels on each side."""

import os
import sys

import qrx

with qrx.connect(f"qrx://demo@{os.environ['QRX_SERVER']}",
                 password_file=os.environ["QRX_PASSWORD_FILE"]) as s:
    ticks = s.ticks("600000.SH", "2024-01-05", book=True)

axes = qrx.plot.depth(ticks)
axes.figure.savefig(sys.argv[1])
