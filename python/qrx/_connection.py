"""Where to connect and as whom: the URL, options with their names and ranges, and secrets.

A secret never enters an object that can be shown: it goes from here straight into the record that
the library reads.
"""

from __future__ import annotations

import os
import re
import socket
import stat
from collections.abc import Mapping
from dataclasses import dataclass
from pathlib import Path
from typing import Any

from ._generated import PROXY_TYPES
from ._library import Record
from ._table import Options, nearest
from .errors import BadArgument, HostNotFound

URL = "write one such as qrx://user@quotes.example.com:7700"
PROXY_URL = "write one such as socks5://user@proxy.example.com:1080"
SECRET_BYTES = 31
OPTIONS = ("password", "password_file", "timeout", "retries", "proxy", "proxy_password",
           "proxy_password_file", "encoding", "price_unit")


@dataclass(frozen=True)
class Address:
    host: str
    port: int
    user: str = ""

    def __str__(self) -> str:
        return f"{self.host}:{self.port}"


@dataclass(frozen=True)
class Target:
    """What a session remembers of its connection: nothing secret."""

    server: Address
    proxy: Address | None
    options: Options

    def __str__(self) -> str:
        return f"{self.server}" + (f" through the proxy {self.proxy}" if self.proxy else "")


def read_address(text: Any, name: str, schemes: Mapping[str, int], advice: str) -> tuple[str, Address]:
    """Scheme and address; schemes gives each its usual port."""
    if not isinstance(text, str):
        raise BadArgument(f"{name}: a {type(text).__name__} is no address", advice=advice)
    form = re.fullmatch(r"(\w+)://(?:([^/?#]*)@)?([^@:/?#\s]+)(?::(\d+))?/?", text, re.ASCII)
    user = form[2] or "" if form else ""
    # Whatever else is wrong with it: a text that may hold a password is not shown.
    if ":" in user or (form is None and re.search(r":.*@", text.partition("://")[2] or text, re.S)):
        raise BadArgument(f"{name}: a password does not belong into the address; pass "
                          f"{'proxy_' if name == 'proxy' else ''}password=", advice=advice)
    if form is None or form[1] not in schemes:
        raise BadArgument(f'{name}: "{text}" is no such address', advice=advice)
    port = int(form[4]) if form[4] else schemes[form[1]]
    if not 1 <= port <= 65535:
        raise BadArgument(f"{name}: {port} is no port", advice=advice)
    return form[1], Address(form[3], port, user)


def resolve(host: str) -> str:
    try:
        found = socket.getaddrinfo(host, None, socket.AF_INET, socket.SOCK_STREAM)
    except (OSError, UnicodeError) as error:
        raise HostNotFound(f"the host {host} has no IPv4 address: {error}") from None
    return str(found[0][4][0])


def _private_file(path: Any, name: str) -> str:
    try:
        with open(Path(path).expanduser(), encoding="utf-8") as file:
            mode = os.fstat(file.fileno())
            if not stat.S_ISREG(mode.st_mode) or mode.st_mode & 0o077:
                raise BadArgument(f"{name}: others may read {path}",
                                  advice=f"make it yours alone: chmod 600 {path}")
            return file.read().rstrip("\r\n")
    except (OSError, TypeError, UnicodeError) as error:
        raise BadArgument(f"{name}: cannot read {path}: {error}",
                          advice="name a file of mode 0600 with the password in it") from None


def _secret(options: Mapping[str, Any], key: str) -> bytes | None:
    """From key=, else key_file=, else the environment."""
    value = options.get(key)
    if value is None and options.get(f"{key}_file") is not None:
        value = _private_file(options[f"{key}_file"], f"{key}_file")
    if value is None:
        value = os.environ.get(f"QRX_{key.upper()}")
    if value is None:
        return None
    if not isinstance(value, str):
        raise BadArgument(f"{key}: a {type(value).__name__} is no password",
                          advice=f'write {key}="..."')
    return _bytes(value, SECRET_BYTES, key, "the server's operator can give you a shorter one")


def _bytes(text: str, most: int, name: str, advice: str) -> bytes:
    raw = text.encode()
    if len(raw) > most or b"\0" in raw:
        raise BadArgument(f"{name}: has {len(raw)} bytes; a login carries at most {most}, without "
                          "NUL", advice=advice)
    return raw


def _number(options: Mapping[str, Any], key: str, usual: int, least: int, most: int) -> int:
    value = options.get(key)
    if value is None:
        return usual
    if isinstance(value, bool) or not isinstance(value, (int, float)) or not least <= value <= most:
        raise BadArgument(f"{key}: {value!r} is no number from {least} to {most}",
                          advice=f"write one such as {key}={usual}")
    return -int(-value // 1)


def read(url: Any, options: Mapping[str, Any]) -> tuple[Target, Record, Record | None]:
    """The target, and the library's records of settings and proxy, secrets included."""
    for key in options:
        if key not in OPTIONS:
            raise BadArgument(f"connect has no option {key}", advice=f"the nearest is {nearest(key, OPTIONS)}=")
    _, server = read_address(url, "url", {"qrx": 7700}, URL)
    if not server.user:
        raise BadArgument(f'url: "{url}" names no user', advice=URL)
    user = _bytes(server.user, 16, "user", URL)
    password = _secret(options, "password")
    if password is None:
        raise BadArgument("no password given", advice='pass password="...", password_file="FILE" '
                          "or set QRX_PASSWORD")
    encoding = options.get("encoding") or "gb18030"
    try:
        b"".decode(encoding)
        "".encode(encoding)
    except (LookupError, TypeError):
        raise BadArgument(f"encoding: there is no {encoding!r}",
                          advice='write one such as encoding="gb18030"') from None
    unit = _number(options, "price_unit", 10000, 1, 10**9)
    settings = Record("OPEN_SETTINGS")
    settings["szUser"], settings["szPassword"] = user, password
    settings["szPort"] = str(server.port).encode()
    settings["nTimeOutVal"] = _number(options, "timeout", 30, 1, 86400)
    settings["nRetryCount"] = _number(options, "retries", 2, 0, 1_000_000)
    settings["nRetryGap"] = 1
    proxy, proxy_settings = _read_proxy(options)
    settings["szIP"] = resolve(server.host).encode()
    return Target(server, proxy, Options(unit, encoding)), settings, proxy_settings


def _read_proxy(options: Mapping[str, Any]) -> tuple[Address | None, Record | None]:
    if options.get("proxy") is None:
        return None, None
    ports = {"socks5": 1080, "socks4a": 1080, "socks4": 1080, "http": 8080}
    scheme, address = read_address(options["proxy"], "proxy", ports, PROXY_URL)
    record = Record("QRX_PROXY_SETTING")
    record["nProxyType"] = PROXY_TYPES[f"QRX_PROXY_{scheme.upper()}"]
    record["szProxyUser"] = _bytes(address.user, SECRET_BYTES, "proxy user", PROXY_URL)
    record["szProxyPwd"] = _secret(options, "proxy_password") or b""
    record["szProxyPort"] = str(address.port).encode()
    record["szProxyHostIp"] = resolve(address.host).encode()
    return address, record
