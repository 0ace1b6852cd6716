"""qrx: market history as NumPy, pandas and Arrow tables.

    import qrx
    with qrx.connect("qrx://user@host:7700", password="...") as s:
        ticks = s.ticks("600000.SH", "2024-01-05", book=True)
        print(ticks.to_pandas(price="float"))
"""

from . import plot
from ._formulas import Formula
from ._generated import VERSION as __version__
from ._open import connect
from ._records import Calculation, Records
from ._session import Code, Session
from .errors import (BadArgument, CannotComplete, Disconnected, FormulaRefused, HostNotFound,
                     LoginRefused, MalformedLogin, NoCodeTable, NoData, NoMarkets, OutOfMemory,
                     QrxError, SessionClosed, TimedOut, UnknownCode, WrongType)

__all__ = ["BadArgument", "Calculation", "CannotComplete", "Code", "Disconnected", "Formula",
           "FormulaRefused", "HostNotFound", "LoginRefused", "MalformedLogin", "NoCodeTable",
           "NoData", "NoMarkets", "OutOfMemory", "QrxError", "Records", "Session", "SessionClosed",
           "TimedOut", "UnknownCode", "WrongType", "__version__", "connect", "plot"]
