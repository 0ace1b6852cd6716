"""The same names for asyncio, over a worker thread of each session.

    async with qrx.aio.connect("qrx://user@host:7700", password="...") as s:
        ticks = await s.ticks("600000.SH", "2024-01-05")
        async for day in s.iter_ticks("600000.SH", "2024-01-02", "2024-01-31"): ...

A call that is cancelled closes the session, as Ctrl-C does.
"""

from __future__ import annotations

import asyncio
from collections.abc import AsyncIterator, Awaitable, Callable, Coroutine, Generator, Iterator
from concurrent.futures import ThreadPoolExecutor
from functools import wraps
from types import TracebackType
from typing import TYPE_CHECKING, Any, TypeVar

from . import _open, _session
from ._formulas import Formula
from ._records import Records
from ._session import Code

if TYPE_CHECKING:
    from typing import Concatenate, ParamSpec

    P = ParamSpec("P")
T = TypeVar("T")


def _awaited(method: Callable[Concatenate[_session.Session, P], T]
             ) -> Callable[Concatenate[Session, P], Coroutine[Any, Any, T]]:
    """The method of the same name, with its arguments and its help."""

    @wraps(method)
    async def call(self: Session, /, *args: P.args, **options: P.kwargs) -> T:
        return await self._run(lambda s: method(s, *args, **options))

    return call


def _one_by_one(method: Callable[Concatenate[_session.Session, P], Iterator[Records]]
                ) -> Callable[Concatenate[Session, P], AsyncIterator[Records]]:
    @wraps(method)
    def call(self: Session, /, *args: P.args, **options: P.kwargs) -> AsyncIterator[Records]:
        return self._iterate(lambda s: method(s, *args, **options))

    return call


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

    ticks = _awaited(_session.Session.ticks)
    trades = _awaited(_session.Session.trades)
    orders = _awaited(_session.Session.orders)
    queues = _awaited(_session.Session.queues)
    futures = _awaited(_session.Session.futures)
    bars = _awaited(_session.Session.bars)
    calc = _awaited(_session.Session.calc)
    iter_ticks = _one_by_one(_session.Session.iter_ticks)
    iter_trades = _one_by_one(_session.Session.iter_trades)
    iter_orders = _one_by_one(_session.Session.iter_orders)
    iter_queues = _one_by_one(_session.Session.iter_queues)
    iter_futures = _one_by_one(_session.Session.iter_futures)


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
