"""Buffered motion of an arm: moves are filed here, sent by the library's worker in measuring status, executed in order.

Lengths are in the unit of linear_scale, angles in that of wrist_scale, feeds and speeds -32768 to 32767 in the
controller's own unit. Filing waits for nothing and is allowed in event handlers; each filed move ends with a MoveDoneEvent.
A filing raises MoveBufferFullError where there is no room: ``arm.until(arm.can_send)`` waits for some."""

from __future__ import annotations

import ctypes
import math
from typing import Any, Sequence

from .commands import Commands
from .constants import MoveMode, Order, SpeedKind, Status
from .errors import CommandError, MoveBufferFullError, MoveRejectedError
from .events import Event, MoveRejectedEvent, PointEvent
from .library import library

_HIGHEST_POINT_ID = 65503
_COUNTS = (
    2.0**31
)  # what a count must be below: beyond it the library sends the low 32 bits, a quite different place

NO_APPROACH = (0.0, 0.0, 0.0)


def _finite(name: str, value: Any) -> float:
    number = float(value)
    if not math.isfinite(number):
        raise ValueError(f"{name} is {number}, which is no place")
    return number


def _values(name: str, values: Any, count: int) -> list[float]:
    numbers = [_finite(name, value) for value in values]
    if len(numbers) != count:
        raise ValueError(f"{name} has {count} values, not {len(numbers)}")
    return numbers


def checked_length(name: str, value: Any, scale: float) -> float:
    """The value, if it fits 32 bits of counts."""
    number = _finite(name, value)
    if abs(number / scale) >= _COUNTS:
        raise ValueError(f"{name} {number} does not fit 32 bits in counts of {scale}")
    return number


class Motion(Commands):
    """Base of :class:`cc_interface.Arm`: moves."""

    _last_point_id = 0

    def can_send(self, places: int = 1) -> bool:
        """Whether so many motion commands can be filed now; a probing move takes two places. False while a scan runs.
        Export: CC_CANSEND."""
        return self._on_arm_thread(lambda: self._has_room(places))

    def _has_room(self, places: int) -> bool:
        return all(library().CC_CANSEND(self.number, ahead) for ahead in range(1, places + 1))

    def _file(self, export: str, *arguments: Any, places: int = 1) -> None:
        def file() -> None:
            if not self._has_room(places):
                raise MoveBufferFullError(export, "no room for the move, or a scan runs")
            self._invoke(export, self.number, *arguments)

        self._on_arm_thread(file)

    def _place(self, name: str, target: Any, count: int, scale: float, approach: Any = NO_APPROACH) -> Any:
        """The six doubles that a motion command takes."""
        numbers = [checked_length(name, value, scale) for value in _values(name, target, count)]
        numbers += [0.0] * (3 - count) + _values("approach", approach, 3)
        return (ctypes.c_double * 6)(*numbers)

    def _length(self, name: str, value: float | None) -> Any:
        return None if value is None else ctypes.c_double(checked_length(name, value, self.linear_scale))

    # ---------------------------------------------------------------- linear axes

    def move(
        self,
        target: Sequence[float],
        mode: MoveMode = MoveMode.PLAIN,
        *,
        approach: Sequence[float] = NO_APPROACH,
        point_id: int = 0,
        class_byte: int = 1,
        m: float | None = None,
        n: float | None = None,
        feed: int = 0,
    ) -> None:
        """Files a linear move to x, y, z. A probing move brings a PointEvent with its point_id, 0 to 65503, and approach.
        class_byte: sent with probing moves. m, n: lengths; n counts for probing moves and stays in force. feed 0: none is
        sent. Export: CC_MOVE."""
        mode = MoveMode(mode)
        if not 0 <= point_id <= _HIGHEST_POINT_ID:
            raise ValueError(f"a point id is between 0 and {_HIGHEST_POINT_ID}, not {point_id}")
        place = self._place("target", target, 3, self.linear_scale, approach)
        lengths = (self._length("m", m), self._length("n", n))
        places = 2 if mode == MoveMode.PROBING else 1
        self._file("CC_MOVE", int(mode), place, point_id, class_byte, *lengths, feed, places=places)

    def move_by(self, distance: Sequence[float], *, with_m: bool = False) -> None:
        """Files an incremental linear move by x, y, z. with_m: with the m of the last move. Export: CC_MOVEINCR."""
        self._file("CC_MOVEINCR", self._place("distance", distance, 3, self.linear_scale), 0, int(with_m))

    def probe(
        self,
        target: Sequence[float],
        *,
        approach: Sequence[float] = NO_APPROACH,
        point_id: int | None = None,
        timeout: float | None = 60.0,
        **options: Any,
    ) -> PointEvent:
        """Files a probing move and waits for its touch point; other events stay to be read. In measuring status, as no
        move is sent in another. point_id: None: one after the other. timeout: seconds. options: as of move. Raises
        MoveRejectedError, WaitTimeoutError, and CommandError when the controller stops, as in emergency or on hold.
        """
        if self.status != Status.MEASURING:
            raise CommandError(
                "CC_MOVE", f"the controller is {self.status.name}: set_status(Order.{Order.MEASURING.name}) first"
            )
        if point_id is None:
            self._last_point_id = point_id = self._last_point_id % _HIGHEST_POINT_ID + 1
        self.until(lambda: self.can_send(2), timeout)
        self.move(target, MoveMode.PROBING, approach=approach, point_id=point_id, **options)

        def ends(event: Event) -> bool:
            if isinstance(event, PointEvent):
                return event.point_id == point_id
            return isinstance(event, MoveRejectedEvent)

        def look() -> Event | None:
            stopped = self.status == Status.STOPPED  # asked first: what came before the stop counts
            event = self._queue.take(ends)
            if event is None and stopped:
                raise CommandError("CC_MOVE", f"the controller stopped before point {point_id} came")
            return event

        event = self.until(look, timeout)
        if isinstance(event, PointEvent):
            return event
        assert isinstance(event, MoveRejectedEvent)
        why = "the link was lost" if event.link_lost else f"the controller's reason is {event.reason}"
        raise MoveRejectedError(f"the move to point {point_id} was rejected: {why}", event.reason)

    # ---------------------------------------------------------------- rotary table and wrist

    def move_table(self, position: float, *, feed: int = 0) -> None:
        """Files a move of the rotary table, in the unit of linear_scale. Export: CC_MOVERT."""
        self._file("CC_MOVERT", self._place("position", [position], 1, self.linear_scale), 0, feed)

    def move_table_by(self, distance: float, *, feed: int = 0) -> None:
        """Files an incremental move of the rotary table, in the unit of linear_scale. Export: CC_MOVEINCRRT."""
        self._file("CC_MOVEINCRRT", self._place("distance", [distance], 1, self.linear_scale), 0, feed)

    def move_wrist(self, a: float, b: float, *, speed: int = 0) -> None:
        """Files a move of the wrist to the angles a and b, in the unit of wrist_scale. Export: CC_MOVEWRIST."""
        self._file("CC_MOVEWRIST", self._place("angle", [a, b], 2, self.wrist_scale), 0, speed)

    def move_wrist_by(self, a: float, b: float, *, speed: int = 0) -> None:
        """Files an incremental move of the wrist. It counts by linear_scale, unlike move_wrist.
        Export: CC_MOVEWRISTINCR."""
        self._file("CC_MOVEWRISTINCR", self._place("angle", [a, b], 2, self.linear_scale), 0, speed)

    # ---------------------------------------------------------------- settings among the moves

    def speed(self, kind: SpeedKind, value: int) -> None:
        """Files a speed setting of all three axes. Export: CC_SPEED."""
        self._file("CC_SPEED", int(SpeedKind(kind)), value)

    def fly(self, on: bool = True) -> None:
        """Files fly mode on or off: moving through intermediate points without a stop. Export: CC_FLYONOFF."""
        self._file("CC_FLYONOFF", int(on))

    def fly_length(self, length: float) -> None:
        """Files the fly length; less than one count is refused. Export: CC_FLYLEN."""
        value = checked_length("length", length, self.linear_scale)
        if abs(value / self.linear_scale) < 1:
            raise ValueError(f"the fly length {value} is less than one count")
        self._file("CC_FLYLEN", value)

    def tf_mode(self, on: bool = True) -> None:
        """Files the TF mode switch. Export: CC_TFMODE."""
        self._file("CC_TFMODE", int(on))

    # ---------------------------------------------------------------- the buffer

    @property
    def is_moving(self) -> bool:
        """Whether filed motion is pending; always False in simulation. Export: CC_MOVING."""
        return bool(self._call("CC_MOVING", self.number, waits=False))

    def reset_moves(self) -> None:
        """Empties the move buffer; what was sent runs on. Export: CC_BUFFRESET."""
        self._call("CC_BUFFRESET", self.number, waits=False)
