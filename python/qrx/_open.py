"""Opening a session, and why it could not be opened: the library says that in a text."""

from __future__ import annotations

import os
from typing import NoReturn, Union

import numpy as np

from . import _connection, _worker
from ._library import Record, lib, text_of
from ._session import Session
from .errors import (Disconnected, LoginRefused, MalformedLogin, NoCodeTable, NoMarkets, QrxError,
                     TimedOut)

File = Union[str, "os.PathLike[str]"]

# The text's end, the exception, and the sentence around the address.
OUTCOMES: list[tuple[str, type[QrxError], str]] = [
    (": connect failed!", Disconnected, "cannot connect to {}"),
    (": recv time out!", TimedOut, "{} did not answer in time"),
    (": receive exception data!", MalformedLogin, "{} does not answer as such a server does"),
    (": no authorized markets!", NoMarkets, "{} lets this user into no market"),
    (": no code table!", NoCodeTable, "{} has no securities in this user's markets"),
]


def open_error(text: str, target: _connection.Target) -> QrxError:
    for end, kind, sentence in OUTCOMES:
        if text.endswith(end):
            advice = "check host, port and proxy" if kind is Disconnected else None
            return kind(sentence.format(target), advice=advice)
    return LoginRefused(f"{target} refused the login of {target.server.user}", text=text)


def connect(url: str, *, password: str | None = None, password_file: File | None = None,
            timeout: int | None = None, retries: int | None = None, proxy: str | None = None,
            proxy_password: str | None = None, proxy_password_file: File | None = None,
            encoding: str | None = None, price_unit: int | None = None,
            **unknown: NoReturn) -> Session:
    """Opens a session at "qrx://user@host:7700".

    Options: password (or password_file of mode 0600, or QRX_PASSWORD), timeout (seconds, 30),
    retries (2), proxy ("socks5://user@host:1080", socks4, socks4a, http), proxy_password (or
    proxy_password_file, QRX_PROXY_PASSWORD), encoding ("gb18030"), price_unit (10000: what a price
    of 1 is sent as).
    """
    target, settings, proxy_settings = _connection.read(
        url, {"password": password, "password_file": password_file, "timeout": timeout,
              "retries": retries, "proxy": proxy, "proxy_password": proxy_password,
              "proxy_password_file": proxy_password_file, "encoding": encoding,
              "price_unit": price_unit, **unknown})
    del password, proxy_password
    login = Record("QRXDefine_ResLogin")
    arguments = [settings.address, login.address]
    function = lib.QRX_Open
    if proxy_settings:
        arguments.insert(1, proxy_settings.address)
        function = lib.QRX_OpenProxy

    def open_it() -> int:
        return function(*arguments) or 0

    handle = _worker.run(open_it, lambda: None, _close_late)
    for record in filter(None, (settings, proxy_settings)):
        record.data.view(np.uint8)[:] = 0  # the passwords
    if not handle:
        raise open_error(text_of(login["szInfo"], target.options.encoding), target)
    count = int(login["nMarkets"])
    return Session(target, handle, [text_of(raw, "ascii") for raw in login["szMarket"][:count]])


def _close_late(handle: int) -> None:
    if handle:
        lib.QRX_Close(handle)
