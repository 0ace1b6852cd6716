"""The same names for asyncio, over a worker thread of each session.

    async with qrx.aio.connect("qrx://user@host:7700", password="...") as s:
        ticks = await s.ticks("600000.SH", "2024-01-05")
        async for day in s.iter_ticks("600000.SH", "2024-01-02", "2024-01-31"): ...

A call that is cancelled closes the session, as Ctrl-C does.
"""

from __future__ import annotations

import asyncio
from collections.abc import AsyncIterator, Awaitable, Callable, Generator, Iterator
from concurrent.futures import ThreadPoolExecutor
from types import TracebackType
from typing import Any, TypeVar

from . import _open, _session
from ._formulas import Formula
from ._records import Calculation, Records
from ._session import Code

T = TypeVar("T")


class Formulas:
    def __init__(self, owner: Session) -> None:
        self._owner = owner

    async def add(self, name: str, text: str) -> str:
        return await self._owner._run(lambda s: s.formulas.add(name, text))

    async def list(self) -> list[Formula]:
        return await self._owner._run(lambda s: s.formulas.list())

    async def show(self, name: str) -> Formula:
        return await self._owner._run(lambda s: s.formulas.show(name))

    async def delete(self, name: str) -> str:
        return await self._owner._run(lambda s: s.formulas.delete(name))


class Session:
    """Arguments and results are those of qrx.Session."""

    def __init__(self, inner: _session.Session, worker: ThreadPoolExecutor) -> None:
        self._inner, self._worker = inner, worker
        self.markets = inner.markets
        self.formulas = Formulas(self)

    def __repr__(self) -> str:
        return f"<asyncio {self._inner!r}>"

    @property
    def closed(self) -> bool:
        return self._inner.closed

    async def __aenter__(self) -> Session:
        return self

    async def __aexit__(self, kind: type[BaseException] | None, error: BaseException | None,
                        trace: TracebackType | None) -> None:
        await self.close()

    async def close(self) -> None:
        """Ends the session, and a call that runs with it."""
        # Not on the worker, which may be busy. The library returns within a second.
        await asyncio.get_running_loop().run_in_executor(None, self._inner.close)
        self._worker.shutdown(wait=False)

    async def _run(self, call: Callable[[_session.Session], T]) -> T:
        self._inner._open_handle()
        loop = asyncio.get_running_loop()
        try:
            return await loop.run_in_executor(self._worker, call, self._inner)
        except asyncio.CancelledError:
            self._inner.close()
            raise

    async def _iterate(self, make: Callable[[_session.Session], Iterator[Records]]
                       ) -> AsyncIterator[Records]:
        days = await self._run(make)
        while (day := await self._run(lambda _: next(days, None))) is not None:
            yield day

    async def codes(self, market: str | None = None) -> Records:
        return self._inner.codes(market)

    async def code(self, code: str) -> Code:
        return self._inner.code(code)

    async def ticks(self, *args: Any, **options: Any) -> Records:
        return await self._run(lambda s: s.ticks(*args, **options))

    async def trades(self, *args: Any, **options: Any) -> Records:
        return await self._run(lambda s: s.trades(*args, **options))

    async def orders(self, *args: Any, **options: Any) -> Records:
        return await self._run(lambda s: s.orders(*args, **options))

    async def queues(self, *args: Any, **options: Any) -> Records:
        return await self._run(lambda s: s.queues(*args, **options))

    async def futures(self, *args: Any, **options: Any) -> Records:
        return await self._run(lambda s: s.futures(*args, **options))

    async def bars(self, *args: Any, **options: Any) -> Records:
        return await self._run(lambda s: s.bars(*args, **options))

    async def calc(self, *args: Any, **options: Any) -> Calculation:
        return await self._run(lambda s: s.calc(*args, **options))

    def iter_ticks(self, *args: Any, **options: Any) -> AsyncIterator[Records]:
        return self._iterate(lambda s: s.iter_ticks(*args, **options))

    def iter_trades(self, *args: Any, **options: Any) -> AsyncIterator[Records]:
        return self._iterate(lambda s: s.iter_trades(*args, **options))

    def iter_orders(self, *args: Any, **options: Any) -> AsyncIterator[Records]:
        return self._iterate(lambda s: s.iter_orders(*args, **options))

    def iter_queues(self, *args: Any, **options: Any) -> AsyncIterator[Records]:
        return self._iterate(lambda s: s.iter_queues(*args, **options))

    def iter_futures(self, *args: Any, **options: Any) -> AsyncIterator[Records]:
        return self._iterate(lambda s: s.iter_futures(*args, **options))


class _Connecting(Awaitable[Session]):
    """What connect gives: to be awaited, or entered with async with."""

    def __init__(self, url: str, options: dict[str, Any]) -> None:
        self._open: Callable[[], _session.Session] = lambda: _open.connect(url, **options)
        self._session: Session | None = None

    async def _connect(self) -> Session:
        worker = ThreadPoolExecutor(1, "qrx")
        open_it = self.__dict__.pop("_open")  # awaited once: it knows the password
        opening = asyncio.get_running_loop().run_in_executor(worker, open_it)
        del open_it
        try:
            return Session(await asyncio.shield(opening), worker)
        except BaseException:
            # Whoever waited is gone: what still opens is closed at once.
            opening.add_done_callback(_close_late)
            worker.shutdown(wait=False)
            raise

    def __await__(self) -> Generator[Any, None, Session]:
        return self._connect().__await__()

    async def __aenter__(self) -> Session:
        self._session = await self._connect()
        return self._session

    async def __aexit__(self, kind: type[BaseException] | None, error: BaseException | None,
                        trace: TracebackType | None) -> None:
        assert self._session is not None
        await self._session.close()


def _close_late(opening: asyncio.Future[_session.Session]) -> None:
    if not opening.cancelled() and opening.exception() is None:
        opening.result().close()


def connect(url: str, **options: Any) -> _Connecting:
    """As qrx.connect: `await` it, or use it with `async with`."""
    return _Connecting(url, options)
