"""Events as objects. Lengths are in the unit that the arm's ``linear_scale`` set, angles in that of ``wrist_scale``."""

from __future__ import annotations

import ctypes
from dataclasses import dataclass
from typing import Any, Callable, Iterable, Tuple, Type, TypeVar

from .constants import CoordinatesTag, EventNumber, LinkInfo, PointInfo, Report, StartMode, Value
from .exports import PointRecord
from .records import Vector

# Tags from here on name a report, not a point.
_FIRST_REPORT_TAG = 65504


@dataclass(frozen=True)
class Event:
    """Any event; those without a class of their own are just this."""

    arm: int  # 1 or 2
    number: int  # EventNumber
    info: int  # the library's info word, 16 bits


@dataclass(frozen=True)
class LinkEvent(Event):
    """The link was lost, or is in order (again); the first event after opening."""

    lost: bool


@dataclass(frozen=True)
class ReportEvent(Event):
    """A report of the controller's: numbers REPORT_1 and REPORT_3.

    ``data`` is its payload in whole words. The library does not tell how long the payload of REPORT_3 and of an
    emergency is in an arm that was started with StartMode.CLIENT: ``data`` is its first two bytes then."""

    data: bytes


@dataclass(frozen=True)
class EmergencyEvent(ReportEvent):
    """The machine is in emergency: numbers EMERGENCY and EMERGENCY_51. ``data`` as in a report."""

    @property
    def code(self) -> int | None:
        """The emergency's code, the first byte of the payload."""
        return self.data[0] if self.data else None


@dataclass(frozen=True)
class PointEvent(Event):
    """A touch point."""

    position: Vector
    approach: Vector  # of a buffered point as filed, else the direction: 1, -1 or 0 by axis of the controller
    point_id: int | None  # of the probing move; None for a point that belongs to none
    kind: int | None  # of a buffered point: the controller's kind byte, signed
    second: Vector | None  # a second point, with PointInfo.AND_SECOND


@dataclass(frozen=True)
class CoordinatesEvent(Event):
    """Where the machine is."""

    position: Vector


@dataclass(frozen=True)
class WristEvent(Event):
    """Where the wrist is: A and B, or with KX_AXES_CONVENTION in the initialisation file B and A."""

    angles: Tuple[float, float]


@dataclass(frozen=True)
class PositionEvent(Event):
    """A position that the controller reported by itself."""

    position: Vector


@dataclass(frozen=True)
class MoveRejectedEvent(Event):
    """A probing move was rejected; the move buffer was emptied."""

    reason: int  # the controller's number
    link_lost: bool  # the buffer was given up with the link, on a prompt line


@dataclass(frozen=True)
class MoveDoneEvent(Event):
    """A motion command is done."""

    report: int  # Report, or the number that a frame of the program's own was filed with


@dataclass(frozen=True)
class ScanPointEvent(Event):
    """A point of a scan."""

    position: Vector


@dataclass(frozen=True)
class ScanEndEvent(Event):
    """The scan has ended."""


@dataclass(frozen=True)
class ControllerEvent(Event):
    """One of the controller's events EVENT_17, EVENT_21, EVENT_22, EVENT_23."""

    word: int | None  # EVENT_17 and EVENT_21 have one


@dataclass(frozen=True)
class HoldEvent(Event):
    """The controller holds motion."""

    word: int  # the controller's, or ControllerWord


@dataclass(frozen=True)
class ResumeEvent(Event):
    """The controller goes on."""

    word: int  # the controller's, or ControllerWord


@dataclass(frozen=True)
class TemperaturesEvent(Event):
    """The answer to ``Arm.request_temperatures``."""

    words: Tuple[int, ...]  # 32, as the controller sends them
    count: int  # the controller's count byte


@dataclass(frozen=True)
class ControllerOnEvent(Event):
    """The controller was switched on. With StartMode.CLIENT only."""


@dataclass(frozen=True)
class ZeroingDoneEvent(Event):
    """Zeroing has ended. With StartMode.CLIENT only."""


@dataclass(frozen=True)
class BoxEvent(Event):
    """The library had something to tell the operator. It does not say of which arm; each open arm gets the event.
    Its number and info are 0."""

    text: str


_E = TypeVar("_E", bound=Value)


def _named(values: Type[_E], number: int) -> int:
    try:
        return values(number)
    except ValueError:
        return number


def _word(data: int) -> int:
    return ctypes.c_uint16.from_address(data).value


def _signed(word: int) -> int:
    return ctypes.c_int16(word).value


def _vector(values: Any) -> Vector:
    return (values[0], values[1], values[2])


def _point(base: Tuple[int, int, int], data: int, mode: int) -> Event:
    record = PointRecord.from_address(data)
    position, approach = _vector(record.position), _vector(record.approach)
    if base[2] == PointInfo.BUFFERED:
        point_id = record.tag if record.tag < _FIRST_REPORT_TAG else None
        return PointEvent(*base, position, approach, point_id, record.kind, None)
    second = _vector(record.second) if base[2] == PointInfo.AND_SECOND else None
    return PointEvent(*base, position, approach, None, None, second)


def _coordinates(base: Tuple[int, int, int], data: int, mode: int) -> Event:
    record = PointRecord.from_address(data)
    if record.tag == CoordinatesTag.WRIST:
        return WristEvent(*base, (record.position[0], record.position[1]))
    return CoordinatesEvent(*base, _vector(record.position))


def _report(base: Tuple[int, int, int], data: int, mode: int) -> Event:
    number, info = base[1:]
    untold = mode == StartMode.CLIENT and number != EventNumber.REPORT_1
    payload = ctypes.string_at(data, 2 if untold else 2 * (info >> 8))
    if number in (EventNumber.EMERGENCY, EventNumber.EMERGENCY_51):
        return EmergencyEvent(*base, payload)
    return ReportEvent(*base, payload)


def _temperatures(base: Tuple[int, int, int], data: int, mode: int) -> Event:
    return TemperaturesEvent(*base, tuple((ctypes.c_uint16 * 32).from_address(data)), base[2])


_Maker = Callable[[Tuple[int, int, int], int, int], Event]

# By number: makes the event of (arm, number, info), the address of the data, and the mode of start.
_MAKERS: dict[int, _Maker] = {
    EventNumber.LINK: lambda base, data, mode: LinkEvent(*base, base[2] == LinkInfo.LOST),
    EventNumber.REPORT_1: _report,
    EventNumber.EMERGENCY: _report,
    EventNumber.REPORT_3: _report,
    EventNumber.POINT: _point,
    EventNumber.COORDINATES: _coordinates,
    EventNumber.POSITION: lambda base, data, mode: PositionEvent(
        *base, _vector(PointRecord.from_address(data).position)
    ),
    EventNumber.MOVE_REJECTED: lambda base, data, mode: MoveRejectedEvent(
        *base, _signed(base[2]), base[2] == LinkInfo.LOST
    ),
    EventNumber.SCAN_POINT: lambda base, data, mode: ScanPointEvent(
        *base, _vector(PointRecord.from_address(data).position)
    ),
    EventNumber.SCAN_END: lambda base, data, mode: ScanEndEvent(*base),
    EventNumber.MOVE_DONE: lambda base, data, mode: MoveDoneEvent(*base, _named(Report, base[2])),
    EventNumber.EVENT_17: lambda base, data, mode: ControllerEvent(*base, _word(data)),
    EventNumber.HOLD: lambda base, data, mode: HoldEvent(*base, _word(data)),
    EventNumber.RESUME: lambda base, data, mode: ResumeEvent(*base, _word(data)),
    EventNumber.EMERGENCY_51: _report,
    EventNumber.EVENT_21: lambda base, data, mode: ControllerEvent(*base, _word(data)),
    EventNumber.EVENT_22: lambda base, data, mode: ControllerEvent(*base, None),
    EventNumber.EVENT_23: lambda base, data, mode: ControllerEvent(*base, None),
    EventNumber.TEMPERATURES: _temperatures,
    EventNumber.CONTROLLER_ON: lambda base, data, mode: ControllerOnEvent(*base),
    EventNumber.ZEROING_DONE: lambda base, data, mode: ZeroingDoneEvent(*base),
}


def make_event(arm: int, number: int, info: int, data: int | None, mode: int) -> Event:
    """The event that the library's callback was given. data: address, valid only now. mode: of ``Arm.start``."""
    base = (arm, _named(EventNumber, number), info)
    maker = _MAKERS.get(number)
    return maker(base, data or 0, mode) if maker else Event(*base)


def positions(events: Iterable[Event]) -> Any:
    """The positions of those events that have one, as a numpy array of shape (n, 3), float64. Needs numpy."""
    import numpy

    found = [position for event in events if (position := getattr(event, "position", None)) is not None]
    return numpy.array(found, dtype=numpy.float64).reshape(-1, 3)
