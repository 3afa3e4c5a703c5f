"""One opening of an arm: from the library's CC_INIT to its CC_DONE, whatever becomes of the :class:`Arm`."""

from __future__ import annotations

import atexit
import logging
import warnings
import weakref
from typing import Any, Callable

from . import owner as owners
from .constants import OpenResult, Shutdown, StartMode
from .errors import CCInterfaceError, WrongThreadError
from .event_queue import EventQueue
from .events import BoxEvent, make_event
from .exports import WINDOWS, Notify, ShowBox
from .library import library

logger = logging.getLogger("cc_interface")


class Opening:
    """What the library calls and what is closed in the end; it outlives an :class:`Arm` that nobody closed."""

    def __init__(self, number: int, own_thread: bool | None, queue: EventQueue) -> None:
        self.number = number
        # Handlers may refer to their arm, which must be collected all the same.
        self._queue = weakref.ref(queue)
        self.mode = int(StartMode.AUTOMATIC)
        self.is_open = False
        self.is_over = False
        self.is_abandoned = False
        self.owner = owners.acquire(own_thread)

    @property
    def queue(self) -> EventQueue | None:
        """The arm's, as long as there is the arm."""
        return self._queue()

    def open(self, *arguments: Any) -> int:
        """On the owner's thread."""
        _openings[self.number] = self
        self.is_open = True
        try:
            with self.owner.opening_or_closing():
                result: int = library().CC_INIT(*arguments)
        except BaseException:
            self._close(Shutdown.READY)
            raise
        if result != OpenResult.OK:
            self.is_open = False
            self._forget()
        return result

    def close(self, shutdown: int) -> None:
        """On any thread. Does nothing if it is closed."""
        if self.is_over:
            return
        try:
            self.owner.call_to_close(lambda: self._close(shutdown))
        except WrongThreadError:
            if not self.is_over:  # it ended while it was asked to
                raise

    def _close(self, shutdown: int) -> None:
        if not self.is_open:
            return
        self.is_open = False
        try:
            with self.owner.opening_or_closing():
                library().CC_DONE(self.number, shutdown)
        finally:
            self._forget()

    def _forget(self) -> None:
        if _openings.get(self.number) is self:
            del _openings[self.number]
        self.is_over = True
        owners.release()
        queue = self.queue
        if queue is not None:
            queue.wake()


_openings: dict[int, Opening] = {}


def _deliver(number: int, event: int, info: int, data: int | None) -> None:
    """What the library calls. Nothing that is raised may leave it."""
    opening = _openings.get(number)
    queue = opening.queue if opening is not None else None
    if opening is None or queue is None:
        return
    try:
        queue.put(make_event(number, event, info, data, opening.mode))
    except BaseException as error:
        queue.fail(error)


# One an arm for the whole process: a callback that closes its arm must not be freed under the library's feet.
notify = {
    1: Notify(lambda event, info, data: _deliver(1, event, info, data)),
    2: Notify(lambda event, info, data: _deliver(2, event, info, data)),
}


# ---------------------------------------------------------------- message boxes


def _log_box(text: str) -> None:
    logger.warning("for the operator: %s", text.strip())


_box_handler: Callable[[str], object] = _log_box


def _show_box(text: bytes, user: int | None) -> None:
    try:
        words = text.decode(errors="replace")
        for opening in tuple(_openings.values()):
            queue = opening.queue
            if queue is not None:
                queue.file(BoxEvent(opening.number, 0, 0, words))
        _box_handler(words)
    except BaseException:
        logger.exception("the handler of message boxes failed")


_box = ShowBox(_show_box)
_box_is_set = False


def _install_box() -> None:
    global _box_is_set
    library().CC_SET_MESSAGE_BOX(_box, None)
    _box_is_set = True


def set_message_box(handler: Callable[[str], object] | None) -> None:
    """Who is told what the library has to say to the operator; None: the log "cc_interface", as a warning. The library
    waits for the handler, which may be called on any thread. Not on Windows, where the library shows a window."""
    global _box_handler
    _box_handler = handler or _log_box
    _install_box()


# ---------------------------------------------------------------- the end of a program


def abandon(opening: Opening) -> None:
    """The arm was collected without having been closed."""
    if opening.is_open:
        opening.is_abandoned = True
        opening.owner.call_later(lambda: opening.close(Shutdown.READY))
        warnings.warn(f"arm {opening.number} was not closed", ResourceWarning, stacklevel=2)


@atexit.register
def _close_all() -> None:
    for opening in tuple(_openings.values()):
        try:
            opening.close(Shutdown.READY)
        except Exception:
            logger.exception("arm %d was not closed", opening.number)
    if _box_is_set and not _openings:
        library().CC_SET_MESSAGE_BOX(None, None)


def prepare(number: int) -> None:
    """Before an opening."""
    if not WINDOWS and not _box_is_set:
        _install_box()
    before = _openings.get(number)
    if before is not None and before.is_open and not before.is_abandoned:
        raise CCInterfaceError(f"arm {number} is open already; close it first")
    if before is not None:
        before.close(Shutdown.READY)  # also waits for a closing that another thread has begun
