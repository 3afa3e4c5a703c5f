"""Who calls the library: both arms share state without locks, so one thread makes all calls and runs the worker.

That thread is the one that opened the first arm, or one of the package's own, to which calls are sent."""

from __future__ import annotations

import asyncio
import contextlib
import threading
from queue import SimpleQueue
from typing import Any, Callable, Iterator, TypeVar

from .errors import UnsupportedError, WrongThreadError
from .event_queue import EventQueue
from .exports import WINDOWS
from .library import library
from .loops import make_loop
from .signals import deferred_signals

_T = TypeVar("_T")

# How long a wait on the package's own thread goes without a look at its condition, which need not come with an event.
_LOOK_SECONDS = 0.05


class CallerThread:
    """The thread that opened the first arm. Its loop runs while the program waits in this package, or in an asyncio loop
    that serves the library's descriptor."""

    def __init__(self) -> None:
        self._thread = threading.current_thread()
        self._loop = make_loop()
        self._served: tuple[asyncio.AbstractEventLoop, int] | None = None
        self._depth = 0
        self._later: list[Callable[[], None]] = []

    def is_current(self) -> bool:
        return threading.current_thread() is self._thread

    def call(self, function: Callable[[], _T]) -> _T:
        if not self.is_current():
            raise self._wrong_thread()
        return self._run(function)

    def call_to_close(self, function: Callable[[], None]) -> None:
        """The same, also on another thread once this one has ended."""
        if not self._may_close():
            raise self._wrong_thread()
        self._run(function)

    def call_later(self, function: Callable[[], None]) -> None:
        """Closes at once if that is possible here and now, else after the next call. For the garbage collector."""
        self._later.append(function)
        if self._may_close() and not self._depth:
            self._run(lambda: None)

    def _may_close(self) -> bool:
        return self.is_current() or not self._thread.is_alive()

    def _wrong_thread(self) -> WrongThreadError:
        return WrongThreadError(
            f"the arms belong to {self._thread.name}, not to {threading.current_thread().name}; open them with "
            "own_thread=True to use them from any thread"
        )

    def _run(self, function: Callable[[], _T]) -> _T:
        if self._depth:
            return function()
        with deferred_signals():
            self._depth += 1
            try:
                return function()
            finally:
                self._depth -= 1
                while self._later:
                    self._later.pop()()

    def step(self, seconds: float, queue: EventQueue) -> None:
        """Lets the worker run once, or waits that long."""
        if not self.is_current():
            raise self._wrong_thread()
        self._loop.wait(seconds)
        self._run(self._loop.dispatch)

    def serve(self, loop: asyncio.AbstractEventLoop) -> None:
        """Lets the asyncio loop run the worker from now on."""
        if WINDOWS:
            raise UnsupportedError("asyncio on Windows needs an arm opened with own_thread=True")
        if not self.is_current():
            raise WrongThreadError(
                "the asyncio loop runs on another thread than the arms, which were not opened with own_thread=True"
            )
        descriptor = library().CC_LOOP_FD()
        if self._served == (loop, descriptor):
            return
        self._unserve()
        if descriptor >= 0:
            loop.add_reader(descriptor, lambda: self._run(self._loop.dispatch))
            self._served = (loop, descriptor)

    def _unserve(self) -> None:
        if self._served and not self._served[0].is_closed():
            self._served[0].remove_reader(self._served[1])
        self._served = None

    @contextlib.contextmanager
    def opening_or_closing(self) -> Iterator[None]:
        """Around calls after which the descriptor may be another, or none."""
        served = self._served
        self._unserve()
        try:
            yield
        finally:
            if served and not served[0].is_closed():
                self.serve(served[0])

    def stop(self) -> None:
        self._unserve()


class _Job:
    def __init__(self, function: Callable[[], Any]) -> None:
        self._function = function
        self._done = threading.Event()
        self._result: Any = None
        self._error: BaseException | None = None

    def run(self) -> None:
        try:
            self._result = self._function()
        except BaseException as error:
            self._error = error
        self._done.set()

    def result(self, thread: threading.Thread) -> Any:
        # In steps, as Windows lets no Ctrl-C into a wait.
        while not self._done.wait(0.1):
            if not thread.is_alive() and not self._done.is_set():
                raise WrongThreadError("the thread of the arms has ended")
        if self._error is not None:
            raise self._error
        return self._result


class OwnThread:
    """A thread of the package's own. It runs the worker all the time and the calls that are sent to it, one after the
    other; a caller that is interrupted leaves its call to be finished."""

    def __init__(self) -> None:
        self._jobs: SimpleQueue[_Job] = SimpleQueue()
        self._loop = make_loop()
        self._stopping = False
        # It must not keep a program alive; what is open when a program ends is closed before.
        self._thread = threading.Thread(target=self._run, name="cc_interface", daemon=True)
        self._thread.start()

    def _run(self) -> None:
        while not self._stopping:
            self._loop.wait(None)
            self._loop.dispatch()
            while not self._jobs.empty():
                self._jobs.get().run()

    def is_current(self) -> bool:
        return threading.current_thread() is self._thread

    def call(self, function: Callable[[], _T]) -> _T:
        if self.is_current():
            return function()
        job = _Job(function)
        self._send(job)
        result: _T = job.result(self._thread)
        return result

    def call_to_close(self, function: Callable[[], None]) -> None:
        self.call(function)

    def call_later(self, function: Callable[[], None]) -> None:
        self._send(_Job(function))

    def _send(self, job: _Job) -> None:
        self._jobs.put(job)
        self._loop.wake()

    def step(self, seconds: float, queue: EventQueue) -> None:
        if self.is_current():
            raise WrongThreadError("the arms' own thread cannot wait: this was called from an event handler")
        with queue.changed:
            queue.changed.wait(min(seconds, _LOOK_SECONDS))

    def serve(self, loop: asyncio.AbstractEventLoop) -> None:
        pass

    @contextlib.contextmanager
    def opening_or_closing(self) -> Iterator[None]:
        yield

    def stop(self) -> None:
        """Called on the thread itself."""
        self._stopping = True


_lock = threading.RLock()
_owner: CallerThread | OwnThread | None = None
_arms = 0


def acquire(own_thread: bool | None) -> CallerThread | OwnThread:
    """The owner of the arms, for one more arm. own_thread: None as the other arm, else as is usual here."""
    global _owner, _arms
    with _lock:
        if _owner is None:
            _owner = OwnThread() if (WINDOWS if own_thread is None else own_thread) else CallerThread()
        elif own_thread is not None and own_thread != isinstance(_owner, OwnThread):
            raise WrongThreadError("the other arm is open with another own_thread: both arms must have the same")
        elif isinstance(_owner, CallerThread) and not _owner.is_current():
            raise WrongThreadError(
                "the other arm belongs to another thread: open both on one, or with own_thread=True"
            )
        _arms += 1
        return _owner


def release() -> None:
    """Gives an arm's owner back, on its thread."""
    global _owner, _arms
    with _lock:
        _arms -= 1
        if _arms == 0 and _owner is not None:
            _owner.stop()
            _owner = None
