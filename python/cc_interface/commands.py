"""Modes, settings and queries of an arm. Every method says its export; docs/protocol.md says what the controller is sent.

"Waits for the controller" means: for its answer, for "timeout" seconds of the initialisation file (6 by default) at most."""

from __future__ import annotations

import ctypes
from typing import Iterable, Tuple

from .constants import BufferOperation, FrameKind, IoMode, Order, StartMode, Status
from .errors import CommandError
from .events import CoordinatesEvent, Event, WristEvent, ZeroingDoneEvent
from .exports import (
    LINK_FRAMES,
    ControllerInfoRecord,
    LinkFrameRecord,
    LinkStatisticsRecord,
    StoredInfoRecord,
)
from .library import library
from .records import ControllerInfo, LinkFrame, LinkStatistics, Vector
from .session import Session

_NO_ANSWER = "the controller did not answer in time; is the link in order?"
_NOT_MEASURING = "only in measuring status: set_status(Order.MEASURING) first. Or the send queue is full"

# What an order leads to.
_REACHED = {
    Order.READY: Status.READY,
    Order.MEASURING: Status.MEASURING,
    Order.STOPPED: Status.STOPPED,
}

_TABLE_WORDS = 512


def store_table(number: int, table: Iterable[int]) -> None:
    """Keeps the table of arm 1 or 2 that the controller may ask for when the arm is opened: 512 words of 32 bits, 128
    entries of four. Call it before the arm is opened. Export: CC_STORE_COSDAT."""
    words = list(table)
    if len(words) != _TABLE_WORDS or not all(0 <= word < 1 << 32 for word in words):
        raise ValueError("the table has 512 words of 32 bits")
    library().CC_STORE_COSDAT(number, (ctypes.c_uint32 * _TABLE_WORDS)(*words))


class Commands(Session):
    """Base of :class:`cc_interface.Arm`: modes, settings, queries."""

    # ---------------------------------------------------------------- modes

    @property
    def status(self) -> Status:
        """What the controller does, by its last report. Sends nothing. Export: CC_GETSTATUS."""
        return Status(self._call("CC_GETSTATUS", self.number, waits=False))

    def set_status(self, order: Order) -> None:
        """Orders a status and sees that it is reached. Waits for the controller. Export: CC_SETSTATUS."""
        order = Order(order)

        # In one call: in between the worker might order another status already.
        def set_and_ask() -> int:
            if self._invoke("CC_SETSTATUS", self.number, int(order)) == 0:
                raise CommandError("CC_SETSTATUS", f"status {order.name} was not reached: " + _NO_ANSWER)
            return int(self._invoke("CC_GETSTATUS", self.number))

        self._check_may_wait("CC_SETSTATUS")
        status = Status(self._on_arm_thread(set_and_ask))
        if status != _REACHED[order]:
            raise CommandError("CC_SETSTATUS", f"the controller is {status.name}, not {order.name}")

    def emergency(self, code: int = 0) -> None:
        """Emergency stop by the controller, on any thread: with a code of 0 to 255 it waits for nothing, not even for the
        call that runs on another thread. It does not replace the emergency stop of the machine. code: its low byte is
        sent. Export: CC_EMERGENCY."""
        words = "the emergency was NOT sent: the send queue is full"
        if not 0 <= code <= 255:
            self._command("CC_EMERGENCY", words, code, waits=False)
            return
        self._check_open()
        if self._invoke("CC_EMERGENCY", self.number, code) == 0:
            raise CommandError("CC_EMERGENCY", words)

    def zero(self, timeout: float = 120.0) -> None:
        """Zeroes the machine axes: the machine moves. timeout: seconds to wait for its end; 0: return once it has begun,
        and call nothing that waits for the controller until status is READY. With StartMode.CLIENT the end is a
        ZeroingDoneEvent, which the wait takes. Export: CC_ZEROES."""
        self._zero("CC_ZEROES", timeout)

    def zero_wrist(self, timeout: float = 120.0) -> None:
        """As zero, for the wrist axes. Export: CC_ZEROESAB."""
        self._zero("CC_ZEROESAB", timeout)

    def _zero(self, export: str, timeout: float) -> None:
        self._command(export, "zeroing did not begin: " + _NO_ANSWER)
        if timeout <= 0:
            return
        if self._opening.mode == StartMode.CLIENT:
            self.wait_for(ZeroingDoneEvent, timeout)
            return
        self.until(lambda: self.status != Status.ZEROING, timeout)
        if self.status != Status.READY:
            raise CommandError(export, f"zeroing ended in status {self.status.name}")

    def numeric_control(self, on: bool = True) -> None:
        """Numeric control on or off, in measuring status. Waits for its acknowledgement, which may fail to come without
        an error: ask for the status. Export: CC_NCONOFF."""
        self._command("CC_NCONOFF", _NOT_MEASURING, int(on))

    def numeric_control_by_operator(self, on: bool = True) -> None:
        """Numeric control once the operator has pressed start, in measuring status. Waits 10 s at most for its
        acknowledgement. Export: CC_NCONWAITSTART."""
        self._command("CC_NCONWAITSTART", _NOT_MEASURING + ", or nothing was acknowledged", int(on))

    def buffer_operation(self, operation: BufferOperation = BufferOperation.RESET) -> None:
        """Operation of the controller's buffer, in measuring status; RESET empties the move buffer here too. Waits for
        the controller. Export: CC_OPBUF."""
        words = _NOT_MEASURING + ", or the controller did not answer"
        self._command("CC_OPBUF", words, int(BufferOperation(operation)))

    # ---------------------------------------------------------------- settings

    def feed(self, value: int) -> None:
        """Feed override, -32768 to 32767 in the controller's own unit. Waits for its acknowledgement. Export: CC_FEED."""
        self._command("CC_FEED", "the feed was not acknowledged, or the send queue is full", value)

    def enable_axes(self, axes: bytes, on: bool = True) -> None:
        """Enables or disables axes. axes: the controller's axis bytes, 248 at most. Newer controllers are stopped before.
        Waits for the controller. Export: CC_ENDIS_AXES."""
        self._command(
            "CC_ENDIS_AXES", _NO_ANSWER + " 248 axis bytes are the limit", int(on), len(axes), bytes(axes)
        )

    def disable_axes(self, axes: bytes) -> None:
        """As enable_axes, off."""
        self.enable_axes(axes, on=False)

    def start_hold_messages(self, on: bool = True) -> None:
        """The controller's start and hold messages. Waits for the controller, if it has them.
        Export: CC_ENDIS_STARTHOLD_MSG."""
        self._command("CC_ENDIS_STARTHOLD_MSG", _NO_ANSWER, int(on))

    def tp200(self, on: bool = True) -> None:
        """The controller's TP200 mode. Waits for the controller. Export: CC_ENDIS_TP200."""
        self._command("CC_ENDIS_TP200", _NO_ANSWER, int(on))

    def write_stored_info(self, first: int, second: int, third: int) -> None:
        """Stores three numbers of 32, 32 and 16 bits in the controller. Waits for the controller. Export: CC_SETINFO."""
        for value, bits in ((first, 32), (second, 32), (third, 16)):
            if not 0 <= value < 1 << bits:
                raise ValueError(f"{value} does not fit {bits} bits")
        record = StoredInfoRecord(first, second, third)
        self._command("CC_SETINFO", _NO_ANSWER, ctypes.byref(record))

    def read_stored_info(self) -> Tuple[int, int, int]:
        """Reads the three numbers back. Waits for the controller. Export: CC_GETINFO."""
        record = StoredInfoRecord()
        self._command("CC_GETINFO", _NO_ANSWER, ctypes.byref(record))
        return (record.first, record.second, record.third)

    def send_frame(self, message: bytes, kind: FrameKind = FrameKind.AWAITED, value: int = -1) -> None:
        """Sends a message that the program composed, count and class bytes included. value: by kind, see the header;
        with AWAITED -1 waits for any state reply. Export: CC_FREEFRAME."""
        kind = FrameKind(kind)
        words = "the message does not fit, the queue is full, or the answer did not come"
        waits = kind != FrameKind.BUFFERED
        self._command("CC_FREEFRAME", words, bytes(message), len(message), int(kind), value, waits=waits)

    # ---------------------------------------------------------------- queries

    def info(self) -> ControllerInfo:
        """What the controller is. Waits for the controller, if it changes. Export: CC_INFO."""
        record = ControllerInfoRecord()
        self._command("CC_INFO", _NO_ANSWER, ctypes.byref(record))
        return ControllerInfo.from_record(record)

    def automatic_coordinates(self, on: bool = True) -> None:
        """Lets coordinates come by themselves, as CoordinatesEvent. Waits for nothing. Export: CC_ASKCOORD."""
        self._call("CC_ASKCOORD", self.number, int(on), waits=False)

    def coordinates(self) -> Vector:
        """Where the machine is, x, y, z in the unit of linear_scale. Waits for the controller. Export: CC_GETCOORD."""
        event = self._ask_coordinates("CC_GETCOORD", CoordinatesEvent)
        assert isinstance(event, CoordinatesEvent)
        return event.position

    def wrist_coordinates(self) -> Tuple[float, float]:
        """The wrist's angles as in WristEvent, in the unit of wrist_scale. Waits for the controller.
        Export: CC_GETWRISTCOORD."""
        event = self._ask_coordinates("CC_GETWRISTCOORD", WristEvent)
        assert isinstance(event, WristEvent)
        return event.angles

    def table_coordinates(self) -> Tuple[float, float]:
        """The same as wrist_coordinates, by another name. Export: CC_GETRTCOORD."""
        event = self._ask_coordinates("CC_GETRTCOORD", WristEvent)
        assert isinstance(event, WristEvent)
        return event.angles

    def _ask_coordinates(self, export: str, kind: type[Event]) -> Event:
        """The library gives the answer as an event during the call; it is taken from those that wait to be read."""
        came: list[Event] = []
        remove = self.on(lambda event: came.append(event) if isinstance(event, kind) else None)
        try:
            self._command(export, "the request was not acknowledged")
        finally:
            remove()
        if not came:
            raise CommandError(export, "no coordinates came. In emergency none are asked for")
        self._queue.take(lambda event: event is came[-1])
        return came[-1]

    def read_io(self) -> Tuple[int, int]:
        """The controller's two I/O words. Waits for the controller. Export: CC_IO."""
        words = (ctypes.c_uint16 * 2)()
        self._command("CC_IO", _NO_ANSWER, int(IoMode.READ), words)
        return (words[0], words[1])

    def write_io(self, first: int, second: int) -> None:
        """Sets the two I/O words, 16 bits each. Waits for nothing; read them back. Export: CC_IO."""
        if not (0 <= first < 1 << 16 and 0 <= second < 1 << 16):
            raise ValueError("an I/O word has 16 bits")
        words = (ctypes.c_uint16 * 2)(first, second)
        self._command("CC_IO", "the words were not sent", int(IoMode.WRITE), words, waits=False)

    def read_parameters(self, number: int) -> Tuple[float, ...]:
        """Parameter set 1 to 7: five values, one an axis, converted as docs/protocol.md says; nan for axes that are not
        fitted. Set 5 is one value, the first. Read while nothing moves. Waits for the controller.
        Export: CC_READ_PARAM."""
        if not 1 <= number <= 7:
            raise ValueError(f"there are parameter sets 1 to 7, not {number}")
        values = (ctypes.c_double * 5)(*[float("nan")] * 5)
        self._command("CC_READ_PARAM", _NO_ANSWER, number, values)
        return tuple(values)

    def request_temperatures(self) -> None:
        """Asks for the temperatures, which come as TemperaturesEvent. Waits for nothing. Export: CC_READTEMP."""
        self._command("CC_READTEMP", "the send queue is full", waits=False)

    # ---------------------------------------------------------------- the link, from any thread

    def link_statistics(self) -> LinkStatistics:
        """What went over the line, also once the arm is closed. Not on Windows. Export: CC_LINK_STATISTICS."""
        record = LinkStatisticsRecord()
        library().CC_LINK_STATISTICS(self.number, ctypes.byref(record))
        return LinkStatistics.from_record(record)

    def link_history(self) -> Tuple[LinkFrame, ...]:
        """The last frames both ways, 32 at most, the oldest first, also once the arm is closed. Not on Windows.
        Export: CC_LINK_HISTORY."""
        records = (LinkFrameRecord * LINK_FRAMES)()
        count = library().CC_LINK_HISTORY(self.number, records, LINK_FRAMES)
        return tuple(LinkFrame.from_record(record) for record in records[:count])
