"""Coordinate-measuring machines from Python: the exports of CC_Interface, typed, with events as objects.

    with cc_interface.Arm(1, port="COM3", ini="machine.ini") as arm:
        arm.start()
        arm.zero()
        arm.set_status(cc_interface.Order.MEASURING)
        print(arm.probe((10, 20, 30), approach=(0, 0, -1)).position)

:mod:`cc_interface.exports` and :func:`cc_interface.library` are the exports as they are."""

from __future__ import annotations

import re
from importlib import metadata
from pathlib import Path

from .arm import Arm
from .commands import store_table
from .constants import (
    AxisKind,
    BufferOperation,
    ControllerValue,
    ControllerWord,
    CoordinatesTag,
    EventNumber,
    FrameKind,
    HeadMode,
    IoMode,
    LinkInfo,
    MoveMode,
    OpenFlag,
    OpenResult,
    Order,
    PointInfo,
    Report,
    Shutdown,
    SpeedKind,
    StartMode,
    Status,
    Switch,
)
from .errors import (
    CCInterfaceError,
    CalledFromHandlerError,
    ClosedError,
    CommandError,
    EventsLostError,
    LibraryNotFoundError,
    MoveBufferFullError,
    MoveRejectedError,
    OpenError,
    UnsupportedError,
    WaitTimeoutError,
    WrongThreadError,
)
from .events import (
    BoxEvent,
    ControllerEvent,
    ControllerOnEvent,
    CoordinatesEvent,
    EmergencyEvent,
    Event,
    HoldEvent,
    LinkEvent,
    MoveDoneEvent,
    MoveRejectedEvent,
    PointEvent,
    PositionEvent,
    ReportEvent,
    ResumeEvent,
    ScanEndEvent,
    ScanPointEvent,
    TemperaturesEvent,
    WristEvent,
    ZeroingDoneEvent,
    positions,
)
from .library import library
from .records import AxisInfo, ControllerInfo, LinkFrame, LinkStatistics
from .opening import set_message_box


def _version() -> str:
    """The version, which stands in CMakeLists.txt alone: of the installed package, or of the source that this is in."""
    project = Path(__file__).resolve().parents[2] / "CMakeLists.txt"
    if project.exists():
        found = re.search(r"project\(CC_Interface VERSION ([0-9.]+)", project.read_text(encoding="utf-8"))
        if found:
            return found[1]
    try:
        return metadata.version("cc_interface")
    except metadata.PackageNotFoundError:
        return "unknown"


__version__ = _version()

__all__ = [
    "Arm",
    "AxisInfo",
    "AxisKind",
    "BoxEvent",
    "BufferOperation",
    "CCInterfaceError",
    "CalledFromHandlerError",
    "ClosedError",
    "CommandError",
    "ControllerEvent",
    "ControllerInfo",
    "ControllerOnEvent",
    "ControllerValue",
    "ControllerWord",
    "CoordinatesEvent",
    "CoordinatesTag",
    "EmergencyEvent",
    "Event",
    "EventNumber",
    "EventsLostError",
    "FrameKind",
    "HeadMode",
    "HoldEvent",
    "IoMode",
    "LibraryNotFoundError",
    "LinkEvent",
    "LinkFrame",
    "LinkInfo",
    "LinkStatistics",
    "MoveBufferFullError",
    "MoveDoneEvent",
    "MoveMode",
    "MoveRejectedError",
    "MoveRejectedEvent",
    "OpenError",
    "OpenFlag",
    "OpenResult",
    "Order",
    "PointEvent",
    "PointInfo",
    "PositionEvent",
    "Report",
    "ReportEvent",
    "ResumeEvent",
    "ScanEndEvent",
    "ScanPointEvent",
    "Shutdown",
    "SpeedKind",
    "StartMode",
    "Status",
    "Switch",
    "TemperaturesEvent",
    "UnsupportedError",
    "WaitTimeoutError",
    "WristEvent",
    "WrongThreadError",
    "ZeroingDoneEvent",
    "library",
    "positions",
    "set_message_box",
    "store_table",
]
