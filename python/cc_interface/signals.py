"""Signals during a call of the library.

Python runs the handlers of signals at the next line of Python of the main thread. That may be the library's callback,
at its very beginning, where nothing can catch what a handler raises: Ctrl-C and the event would both be lost."""

from __future__ import annotations

import contextlib
import signal
import threading
from types import FrameType
from typing import Any, Callable, Iterator

_NAMES = "SIGINT SIGTERM SIGHUP SIGALRM SIGUSR1 SIGUSR2 SIGBREAK".split()
_SIGNALS = [getattr(signal, name) for name in _NAMES if hasattr(signal, name)]


@contextlib.contextmanager
def deferred_signals() -> Iterator[None]:
    """Puts the handlers of signals off until its end, which runs them and raises what they raise."""
    if threading.current_thread() is not threading.main_thread():
        yield  # signals are handled elsewhere
        return
    came: list[tuple[Callable[..., Any], int, FrameType | None]] = []
    try:
        with contextlib.ExitStack() as restoring:
            for number in _SIGNALS:
                handler = signal.getsignal(number)
                if callable(handler):
                    restoring.callback(signal.signal, number, handler)
                    signal.signal(number, _recorder(handler, came))
            yield
    finally:
        for handler, number, frame in came:
            handler(number, frame)


def _recorder(handler: Any, came: list[tuple[Callable[..., Any], int, FrameType | None]]) -> Callable[..., Any]:
    return lambda number, frame: came.append((handler, number, frame))
