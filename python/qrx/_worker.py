"""Calls into the library that Ctrl-C can end.

The interpreter handles signals in its main thread only, and not while that is inside the library:
from there a call runs in a thread of its own, and the main thread waits for it.
"""

from __future__ import annotations

import threading
from collections.abc import Callable
from typing import TypeVar

T = TypeVar("T")


def run(call: Callable[[], T], stop: Callable[[], None], discard: Callable[[T], None]) -> T:
    """call(), in any thread. When the wait is interrupted: stop(), which shall end the call, and
    discard what the call still gives."""
    if threading.current_thread() is not threading.main_thread():
        return call()
    box: list[T] = []
    errors: list[BaseException] = []
    done = threading.Event()
    lock = threading.Lock()
    abandoned = False

    def body() -> None:
        try:
            value = call()
            with lock:
                if not abandoned:
                    box.append(value)
                    return
            discard(value)
        except BaseException as error:
            errors.append(error)
        finally:
            done.set()

    try:
        threading.Thread(target=body, name="qrx call", daemon=True).start()
        done.wait()
    except BaseException:
        with lock:
            abandoned = True
            results, box[:] = box[:], []
        for value in results:
            discard(value)
        stop()
        raise
    if errors:
        raise errors[0]
    return box[0]
