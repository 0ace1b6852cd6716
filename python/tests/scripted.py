"""A server that answers as a test tells it to. Message head: flags 21320, type, length, 8 zero
bytes, request id."""

import contextlib
import socket
import struct
import threading

HEAD = struct.Struct("<HhI8xi")


def integer(n):
    """A number in a record stream, without scale: tag with sign and length, magnitude."""
    size = abs(n).bit_length() + 7 >> 3
    return bytes([(0x80 if n < 0 else 0) | size << 4]) + abs(n).to_bytes(size, "little")


def packed(n):
    """A number of a calculation's dates, times and row numbers: sign, size, five low bits; rest."""
    size = (abs(n) >> 5).bit_length() + 7 >> 3
    return (bytes([(0x80 if n < 0 else 0) | size << 5 | abs(n) & 31])
            + (abs(n) >> 5).to_bytes(size, "little"))


def login(info=b"welcome", result=1, markets=("SH", "XX", "SHF")):
    names = b"".join(m.encode().ljust(4, b"\0") for m in markets)
    body = info.ljust(64, b"\0") + struct.pack("<ii", result, len(markets)) + names.ljust(128, b"\0")
    return 2, body.ljust(424, b"\0")


def code_table(market):
    rows = {b"SH": [(b"600000", "浦发银行".encode("gbk"), 16), (b"000001", b"Index", 1)],
            b"XX": [(b"X1", b"Foreign", 112)], b"SHF": [(b"ag2403", b"Silver", 112)]}.get(market, [])
    items = b"".join(code.ljust(16, b"\0") + name.ljust(32, b"\0") + struct.pack("<i", kind)
                     for code, name, kind in rows)
    return 1001, struct.pack("<iii", 0, len(rows), 52) + items


def bars(rows):
    """Plain bars (1010) of YYYYMMDD, HHMMSS, open, high, low, close, volume, turnover, trades,
    open interest."""
    head = b"600000\0\0SH\0\0".ljust(40, b"\0") + struct.pack("<iii", len(rows), 0, 1)
    return 1010, head + b"".join(integer(n) for row in rows for n in row)


def snapshots(date, times):
    """Futures snapshots without a book (1049) of one day at HHMMSSmmm: price 1, volume 2."""
    head = struct.pack("<5i", 1, len(times), 0, 0, 0)
    return 1049, head + b"".join(integer(n) for time in times
                                 for n in (date, time, 1, 2, 0, 0, 0, 0, 0, 0, 0, 0))


class Server:
    """answers: message type to (type, body), to several of them, to a function of the request's
    body that gives either, or to None for silence."""

    def __init__(self, answers=None):
        self.answers = {1: login(), 116: lambda body: code_table(body.rstrip(b"\0")),
                        **(answers or {})}
        self.seen = []  # (type, body)
        self.listener = socket.create_server(("127.0.0.1", 0))
        self.url = f"qrx://demo@127.0.0.1:{self.listener.getsockname()[1]}"
        self.connections = []
        threading.Thread(target=self._accept, daemon=True).start()

    def _accept(self):
        while True:
            try:
                connection, _ = self.listener.accept()
            except OSError:
                return
            self.connections.append(connection)
            threading.Thread(target=self._serve, args=(connection,), daemon=True).start()

    def _serve(self, connection):
        stream = connection.makefile("rb")
        try:
            while head := stream.read(HEAD.size):
                _, kind, length, request = HEAD.unpack(head)
                body = stream.read(length)
                self.seen.append((kind, body))
                answer = self.answers[kind]
                answer = answer(body) if callable(answer) else answer
                for kind, body in [answer] if isinstance(answer, tuple) else answer or []:
                    connection.sendall(HEAD.pack(21320, kind, len(body), request) + body)
        except OSError:
            pass

    def asked(self, kind):
        """The bodies of the requests of a type."""
        return [body for seen, body in self.seen if seen == kind]

    def drop(self):
        """Ends every connection, and takes no more."""
        if self.listener.fileno() < 0:
            return
        self.listener.shutdown(socket.SHUT_RDWR)  # close alone leaves a waiting accept waiting
        self.listener.close()
        for connection in self.connections:
            try:
                connection.shutdown(socket.SHUT_RDWR)
            except OSError:
                pass

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.drop()


@contextlib.contextmanager
def scripted(answers=None, **options):
    """A server with these answers, and a session on it."""
    import qrx

    with Server(answers) as server, qrx.connect(server.url, password="x", **options) as session:
        yield server, session
