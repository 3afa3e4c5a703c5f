"""Opening, starting and closing of an arm; calls; events; waits."""

from __future__ import annotations

import asyncio
import ctypes
import functools
import os
import threading
import time
import weakref
from typing import Any, Callable, Generic, Type, TypeVar, cast, overload

from .constants import OpenFlag, OpenResult, Shutdown, StartMode
from .errors import CalledFromHandlerError, ClosedError, CommandError, OpenError, WaitTimeoutError
from .event_queue import EventQueue, Handler, Match
from .events import Event
from .exports import WINDOWS, ControllerInfoRecord
from .library import library
from .opening import Opening, abandon, notify, prepare
from .records import ControllerInfo

_T = TypeVar("_T")
_E = TypeVar("_E", bound=Event)


def _text(value: str | None) -> bytes | None:
    return None if value is None else value.encode("mbcs") if WINDOWS else os.fsencode(value)


def _check_scale(name: str, value: float) -> float:
    scale = float(value)
    if not 0 < abs(scale) < float("inf"):
        raise ValueError(f"{name} must be a finite number other than 0, not {value!r}")
    return scale


_FOREVER = threading.TIMEOUT_MAX


class _Limit:
    """How long a wait may go on. A limit of no time lets the worker run once."""

    def __init__(self, seconds: float | None) -> None:
        self._seconds = seconds
        self._end = None if seconds is None else time.monotonic() + seconds
        self._asked = False

    def remaining(self) -> float:
        """Seconds, from 0 on. Raises WaitTimeoutError when they are over, but not the first time."""
        if self._end is None:
            return _FOREVER
        remaining = self._end - time.monotonic()
        if remaining <= 0 and self._asked:
            raise WaitTimeoutError(f"nothing came of it in {self._seconds:g} s")
        self._asked = True
        return max(remaining, 0.0)


class EventStream(Generic[_E]):
    """Events as they come, for ``for`` and ``async for``."""

    def __init__(self, session: Session, match: Match | None, timeout: float | None) -> None:
        self._session = session
        self._match = match
        self._timeout = timeout

    def _take(self) -> _E | None:
        return cast("_E | None", self._session._queue.take(self._match))

    def __iter__(self) -> EventStream[_E]:
        return self

    def __next__(self) -> _E:
        try:
            return self._session.until(self._take, self._timeout)
        except (WaitTimeoutError, ClosedError):
            raise StopIteration from None

    def __aiter__(self) -> EventStream[_E]:
        return self

    async def __anext__(self) -> _E:
        try:
            return await self._session._until_async(self._take, self._timeout, look_seconds=None)
        except (WaitTimeoutError, ClosedError):
            raise StopAsyncIteration from None


class Session:
    """Base of :class:`cc_interface.Arm`: what does not depend on single commands."""

    def __init__(
        self,
        number: int = 1,
        *,
        port: str | None = None,
        head_port: str | None = None,
        ini: str | os.PathLike[str] | None = None,
        simulation: bool = False,
        simulated_head: bool = False,
        linear_scale: float = 0.0001,
        wrist_scale: float = 1.0,
        extended_start: bool = True,
        own_thread: bool | None = None,
        on_event: Handler | None = None,
        window: int | None = None,
    ) -> None:
        if number not in (1, 2):
            raise ValueError(f"there are arms 1 and 2, not {number!r}")
        if port is None and not simulation:
            raise ValueError("a port is needed, as in port='COM3', or simulation=True")
        if ini is not None and not os.path.isfile(ini):
            raise FileNotFoundError(f"there is no initialisation file {os.fspath(ini)!r}")
        self.number = int(number)
        self.linear_scale = _check_scale("linear_scale", linear_scale)
        self.wrist_scale = _check_scale("wrist_scale", wrist_scale)
        self.simulation = simulation
        flags = (OpenFlag.SIMULATION if simulation else 0) | (OpenFlag.SIMULATED_HEAD if simulated_head else 0)
        # Windows looks for a name without a folder in its own directory.
        ini_path = None if ini is None else os.path.abspath(ini)
        prepare(self.number)
        self._queue = EventQueue()
        if on_event is not None:
            self._queue.handlers.append(on_event)
        self._opening = Opening(self.number, own_thread, self._queue)
        self._owner = self._opening.owner
        arguments = (
            *(window, self.number, notify[self.number], _text(port), _text(head_port), int(extended_start)),
            *(self.linear_scale, self.wrist_scale, int(flags), _text(ini_path)),
        )
        try:
            result = self._owner.call(lambda: self._opening.open(*arguments))
            if result != OpenResult.OK:
                raise OpenError(result, self.number, port, head_port)
            self._finalizer = weakref.finalize(self, abandon, self._opening)
            self._finalizer.atexit = False
            self._queue.raise_errors()
        except BaseException:
            self._opening.close(Shutdown.READY)
            raise

    def start(self, mode: StartMode = StartMode.AUTOMATIC) -> ControllerInfo:
        """Starts the controller and tells what it is. With StartMode.CLIENT the program orders status ready after
        zeroing, a stop and switching on, and hears of them. Waits for the controller. Export: CC_START."""
        record = ControllerInfoRecord()
        self._opening.mode = int(mode)
        words = "the controller refused the start (H00), or did not acknowledge it"
        self._command("CC_START", words, ctypes.byref(record), int(mode))
        return ControllerInfo.from_record(record)

    def close(self, shutdown: Shutdown = Shutdown.READY) -> None:
        """Brings the controller to a safe state and closes the arm. Waits "timeout" seconds of the initialisation file.
        Does nothing on an arm that is closed. Export: CC_DONE."""
        self._opening.close(int(shutdown))
        self._raise_errors()

    @property
    def is_open(self) -> bool:
        return self._opening.is_open

    def __enter__(self: _T) -> _T:
        return self

    def __exit__(self, kind: type[BaseException] | None, error: BaseException | None, trace: object) -> None:
        self._opening.close(Shutdown.READY)
        if kind is None:
            self._raise_errors()

    def __repr__(self) -> str:
        return f"<Arm {self.number}, {'open' if self.is_open else 'closed'}>"

    # ---------------------------------------------------------------- calls

    def _call(self, export: str, *arguments: Any, waits: bool = True) -> Any:
        """Calls an export on the owner's thread. What handlers raised meanwhile is raised then."""
        if waits:
            self._check_may_wait(export)
        return self._on_arm_thread(functools.partial(self._invoke, export, *arguments))

    def _check_may_wait(self, export: str) -> None:
        if self._in_handler():
            raise CalledFromHandlerError(
                f"{export} waits; it cannot be called from inside a handler of this arm's events"
            )

    def _on_arm_thread(self, function: Callable[[], _T]) -> _T:
        self._check_open()

        def on_thread() -> _T:
            self._check_open()
            return function()

        result = self._owner.call(on_thread)
        self._raise_errors()
        return result

    def _check_open(self) -> None:
        if not self.is_open:
            raise ClosedError(f"arm {self.number} is not open")

    def _invoke(self, export: str, *arguments: Any) -> Any:
        try:
            return getattr(library(), export)(*arguments)
        except ctypes.ArgumentError as error:
            kind = TypeError if "TypeError" in str(error) else ValueError
            raise kind(f"{export}: {error}") from None

    def _command(self, export: str, words: str, *arguments: Any, waits: bool = True) -> None:
        """The same with the arm's number, for an export that gives 0 for a failure."""
        if self._call(export, self.number, *arguments, waits=waits) == 0:
            raise CommandError(export, words)

    def _in_handler(self) -> bool:
        return self._owner.is_current() and self._queue.handling > 0

    def _raise_errors(self) -> None:
        if not self._in_handler():
            self._queue.raise_errors()

    # ---------------------------------------------------------------- events

    def on(self, handler: Handler) -> Callable[[], None]:
        """Calls ``handler(event)`` for each event to come, on the thread of the arms, inside a waiting call or inside the
        worker. It must not call what waits; it may file moves. What it raises comes out of the call, or of the wait for
        events, that it ran in. Message boxes do not go to handlers. Result: a function that takes the handler away.
        """
        self._queue.handlers.append(handler)
        return lambda: self._queue.handlers.remove(handler)

    @overload
    def events(self, match: Type[_E], timeout: float | None = None) -> EventStream[_E]:
        ...

    @overload
    def events(self, match: Match | None = None, timeout: float | None = None) -> EventStream[Event]:
        ...

    def events(self, match: Any = None, timeout: float | None = None) -> EventStream[Any]:
        """The arm's events, for ``for`` and ``async for``, those that have come already first. Each is given once.
        match: a class of events or a function of an event; the others stay. timeout: seconds after which the iteration
        ends when nothing comes; it also ends when the arm is closed."""
        return EventStream(self, _matcher(match), timeout)

    @overload
    def wait_for(self, match: Type[_E], timeout: float | None = None) -> _E:
        ...

    @overload
    def wait_for(self, match: Match, timeout: float | None = None) -> Event:
        ...

    def wait_for(self, match: Any, timeout: float | None = None) -> Any:
        """Waits for an event of a class, or one that a function accepts, and takes it; the others stay. timeout:
        seconds. Raises WaitTimeoutError."""
        matcher = _matcher(match)
        return self.until(lambda: self._queue.take(matcher), timeout)

    @overload
    async def wait_for_async(self, match: Type[_E], timeout: float | None = None) -> _E:
        ...

    @overload
    async def wait_for_async(self, match: Match, timeout: float | None = None) -> Event:
        ...

    async def wait_for_async(self, match: Any, timeout: float | None = None) -> Any:
        """As wait_for, for asyncio."""
        matcher = _matcher(match)
        return await self._until_async(lambda: self._queue.take(matcher), timeout, look_seconds=None)

    # ---------------------------------------------------------------- waits

    def run(self, seconds: float) -> None:
        """Lets the library work for that long: it sends moves and receives events only while the program is in one of
        this package's waits. Exports: CC_LOOP_FD, CC_LOOP_DISPATCH."""
        try:
            self.until(lambda: False, seconds)
        except WaitTimeoutError:
            pass

    def until(self, condition: Callable[[], _T | None], timeout: float | None = None) -> _T:
        """Lets the library work until the condition holds, and gives its value back. It is looked at at least every time
        that the worker has run. timeout: seconds. Raises WaitTimeoutError."""
        if self._in_handler():
            raise CalledFromHandlerError("a handler of this arm's events cannot wait")
        limit = _Limit(timeout)
        while True:
            value = self._look(condition)
            if value is not None:
                return value
            self._owner.step(limit.remaining(), self._queue)

    async def until_async(self, condition: Callable[[], _T | None], timeout: float | None = None) -> _T:
        """As until, for asyncio."""
        return await self._until_async(condition, timeout, look_seconds=0.05)

    async def _until_async(
        self, condition: Callable[[], _T | None], timeout: float | None, look_seconds: float | None
    ) -> _T:
        loop = asyncio.get_running_loop()
        changed = asyncio.Event()

        def wake() -> None:
            try:
                loop.call_soon_threadsafe(changed.set)
            except RuntimeError:
                pass  # the loop was closed while somebody waited in it

        limit = _Limit(timeout)
        self._queue.wakers.append(wake)
        try:
            while True:
                changed.clear()
                value = self._look(condition)
                if value is not None:
                    return value
                self._owner.serve(loop)
                seconds = min(limit.remaining(), look_seconds or _FOREVER)
                await asyncio.sleep(0)  # a wait of no time would not let the loop run
                try:
                    await asyncio.wait_for(changed.wait(), None if seconds == _FOREVER else seconds)
                except asyncio.TimeoutError:
                    pass
        finally:
            self._queue.wakers.remove(wake)

    def _look(self, condition: Callable[[], _T | None]) -> _T | None:
        self._queue.raise_errors()
        value = condition()
        if value:
            return value
        self._queue.raise_errors()
        self._check_open()
        return None


def _matcher(match: Match | Type[Event] | None) -> Match | None:
    if isinstance(match, type):
        kind = match
        return lambda event: isinstance(event, kind)
    return match
