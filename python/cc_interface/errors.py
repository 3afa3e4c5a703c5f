"""What can go wrong, in words."""

from __future__ import annotations

from .constants import OpenResult


class CCInterfaceError(Exception):
    """Any failure of the library or of its use."""


class LibraryNotFoundError(CCInterfaceError, OSError):
    """The library itself could not be loaded."""


class UnsupportedError(CCInterfaceError):
    """Something that this system does not have."""


class ClosedError(CCInterfaceError):
    """The arm is not open, or was opened anew by another :class:`Arm`."""


class WrongThreadError(CCInterfaceError):
    """An arm belongs to another thread, or cannot be served the way that was asked for."""


class CalledFromHandlerError(CCInterfaceError):
    """A call that waits was made from inside an event handler of the same arm."""


class CommandError(CCInterfaceError):
    """A command failed; the message says what that means. ``export`` is the name of the export."""

    def __init__(self, export: str, words: str) -> None:
        super().__init__(f"{words} ({export})")
        self.export = export


class MoveBufferFullError(CommandError):
    """There is no room for the move: wait with ``arm.until(arm.can_send)``."""


class MoveRejectedError(CCInterfaceError):
    """The controller rejected a probing move, and with it all that was filed behind it. ``reason`` is the controller's
    number."""

    def __init__(self, words: str, reason: int) -> None:
        super().__init__(words)
        self.reason = reason


class WaitTimeoutError(CCInterfaceError, TimeoutError):
    """What was waited for did not come in time."""


class EventsLostError(CCInterfaceError):
    """Events were dropped, the oldest, as nobody read them. ``count`` tells how many."""

    def __init__(self, count: int) -> None:
        super().__init__(f"{count} events were dropped: they came faster than they were read")
        self.count = count


class OpenError(CCInterfaceError):
    """An arm could not be opened. ``result`` is the library's code."""

    def __init__(self, result: int, arm: int, port: str | None, head_port: str | None) -> None:
        words = _OPENING.get(result, "for a reason that this package does not know")
        super().__init__(
            f"arm {arm} could not be opened (code {result}): " + words.format(port=port, head=head_port)
        )
        self.result = result


_OPENING: dict[int, str] = {
    OpenResult.LINK_START_FAILED: "port {port} is open, but the controller does not answer the start of the link. "
    "Is it switched on, is the cable right, is it the right port?",
    OpenResult.TIMER_FAILED: "the system refused the arm's timer. Close other programs or start the machine anew",
    OpenResult.BAD_PORT: "{port!r} is no port: write COM and a number from 1 to 256, as in COM3",
    OpenResult.PORT_NOT_OPENED: "port {port} or the head's port {head} could not be opened. Does it exist, may you use "
    "it, has another program opened it, does the head answer?",
    OpenResult.NO_ANSWER: "the link to the controller stands, but the controller did not tell what it is. Without "
    "extended_start it must be in stopped state; else switch it off and on",
    OpenResult.TABLE_FAILED: "the controller asked for its table and did not take it. Call store_table with the "
    "machine's table before",
    OpenResult.WORKER_FAILED: "the worker's timer could not be made. The process may have too many open files",
    OpenResult.BAD_HEAD_PORT: "{head!r} is no port for the head: write COM and a number from 1 to 256, as in COM4",
}
