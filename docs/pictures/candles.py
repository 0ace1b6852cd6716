"""Three days of five-minute candles with their volume."""

import os
import sys

import qrx

with qrx.connect(f"qrx://demo@{os.environ['QRX_SERVER']}",
                 password_file=os.environ["QRX_PASSWORD_FILE"]) as s:
    bars = s.bars("600519.SH", "5m", "2024-01-02", "2024-01-04")

price, volume = qrx.plot.candles(bars)
price.figure.savefig(sys.argv[1])
