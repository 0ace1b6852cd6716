"""One exception class a kind of failure: what happened, the server's text, what to do about it."""

from __future__ import annotations

from ._generated import RESULT_CODES


class QrxError(Exception):
    """What every exception of this package is.

    code: the library's result code. text: what the server said, "" if nothing. advice: what to do.
    """

    code = 0
    advice = ""

    def __init__(self, message: str, *, text: str = "", advice: str | None = None) -> None:
        self.message = message
        self.text = text
        if advice is not None:
            self.advice = advice
        said = f' (the server says: "{text}")' if text else ""
        super().__init__(f"{message}{said}" + (f"; {self.advice}" if self.advice else ""))

    def __reduce__(self) -> tuple[object, ...]:
        return (_again, (type(self), self.message, self.text, self.advice))


def _again(kind: type[QrxError], message: str, text: str, advice: str) -> QrxError:
    """Makes an exception of another process again."""
    return kind(message, text=text, advice=advice)


class BadArgument(QrxError, ValueError):
    """An argument is not what it should be; the message names it and shows a right one."""

    code = RESULT_CODES["QRX_ERR_ARGUMENT"]


class CannotComplete(BadArgument):
    """complete=True where there is no session grid, or where a day breaks the grid's rules."""

    advice = "leave complete=True away to get the records as they are"


class UnknownCode(QrxError, LookupError):
    """No code table of this user has the security."""

    code = RESULT_CODES["QRX_ERR_NO_DATA"]


class NoData(QrxError):
    """The security is known, but there is nothing in the range."""

    code = RESULT_CODES["QRX_ERR_NO_DATA"]
    advice = "ask for other days, or for another kind of data"


class WrongType(QrxError):
    """This kind of security has no such data."""

    code = RESULT_CODES["QRX_ERR_TYPE"]
    advice = "futures and options have s.futures, everything else has s.ticks"


class LoginRefused(QrxError):
    """The server did not let the user in."""

    code = RESULT_CODES["QRX_ERR_LOGIN"]
    advice = "check user and password"


class NoMarkets(LoginRefused):
    """The user may query no market."""

    code = RESULT_CODES["QRX_ERR_NO_MARKETS"]
    advice = "ask the server's operator to open markets to the user"


class NoCodeTable(QrxError):
    """The server has no securities in this user's markets."""

    code = RESULT_CODES["QRX_ERR_NO_CODE_TABLE"]
    advice = "ask the server's operator whether data was imported"


class MalformedLogin(QrxError):
    """What answered is no such server."""

    code = RESULT_CODES["QRX_ERR_MALFORMED_LOGIN"]
    advice = "check host and port"


class TimedOut(QrxError):
    """No answer within the time-out."""

    code = RESULT_CODES["QRX_ERR_TIMEOUT"]
    advice = "ask for fewer days at once, or connect with a longer timeout="


class Disconnected(QrxError):
    """The connection could not be made, or was lost; this session does not come back."""

    code = RESULT_CODES["QRX_ERR_NETWORK"]
    advice = "see whether the server is up, and open another session with qrx.connect"


class HostNotFound(Disconnected):
    """The name of the server or of the proxy has no IPv4 address."""

    advice = "check the spelling, or write the address, such as 127.0.0.1"


class SessionClosed(Disconnected):
    """The session was closed: by close(), by the end of its with block, or by Ctrl-C."""

    advice = "open another one with qrx.connect"


class OutOfMemory(QrxError, MemoryError):
    """The result does not fit into memory."""

    code = RESULT_CODES["QRX_ERR_MEMORY"]
    advice = "take a day at a time, with iter_ticks and its kind"


class FormulaRefused(QrxError):
    """The formula service refused."""

    code = RESULT_CODES["QRX_ERR_FORMULA"]
    advice = "correct the formula as the server says"


def from_code(code: int, what: str, server: str) -> QrxError:
    """The exception for a result code of a call that asked `server` for `what`."""
    sentences: dict[type[QrxError], str] = {
        NoData: f"there are no {what}",
        Disconnected: f"the connection to {server} was lost",
        TimedOut: f"{server} did not answer in time",
        OutOfMemory: f"the {what} do not fit into memory",
        WrongType: f"this kind of security has no {what}",
        BadArgument: f"the library refused the request for {what}",
        FormulaRefused: "the server refused the formula",
    }
    for kind, sentence in sentences.items():
        if kind.code == code:
            return kind(sentence)
    error = QrxError(f"unexpected result {code} for {what}")
    error.code = code
    return error
