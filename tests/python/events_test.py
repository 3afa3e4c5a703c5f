"""What the library's callback is given, as objects."""

from __future__ import annotations

import ctypes
import struct

import pytest

import cc_interface as cc
from cc_interface.event_queue import CAPACITY, EventQueue
from cc_interface.events import make_event

POINT = struct.pack("<iI9d", -3, 42, 1, 2, 3, 0, 0, -1, 7, 8, 9)
REPORT_TAG = struct.pack("<iI9d", 1, 65505, 1, 2, 3, 0, 0, -1, 7, 8, 9)
ANGLES = struct.pack("<iI9d", 0, 1, 30, 45, 0, 0, 0, 0, 0, 0, 0)
MACHINE = struct.pack("<iI9d", 0, 0, 1, 2, 3, 0, 0, 0, 0, 0, 0)
WORDS = struct.pack("<33H", *range(100, 133))
AUTO, CLIENT = 0, 1

CASES = [
    (1, 257, b"", AUTO, cc.LinkEvent(2, 1, 257, True)),
    (1, 1, b"", AUTO, cc.LinkEvent(2, 1, 1, False)),
    (2, 0x0202, b"abcdef", CLIENT, cc.ReportEvent(2, 2, 0x0202, b"abcd")),
    (3, 0x0103, b"\x65\x31xx", AUTO, cc.EmergencyEvent(2, 3, 0x0103, b"\x65\x31")),
    (3, 0x0031, b"\x65\x31xx", CLIENT, cc.EmergencyEvent(2, 3, 0x0031, b"\x65\x31")),
    (3, 0x0003, b"\x65\x31xx", AUTO, cc.EmergencyEvent(2, 3, 0x0003, b"")),
    (4, 0x0104, b"abcd", AUTO, cc.ReportEvent(2, 4, 0x0104, b"ab")),
    (5, 0, POINT, AUTO, cc.PointEvent(2, 5, 0, (1, 2, 3), (0, 0, -1), None, None, None)),
    (5, 1, POINT, AUTO, cc.PointEvent(2, 5, 1, (1, 2, 3), (0, 0, -1), 42, -3, None)),
    (5, 1, REPORT_TAG, AUTO, cc.PointEvent(2, 5, 1, (1, 2, 3), (0, 0, -1), None, 1, None)),
    (5, 256, POINT, AUTO, cc.PointEvent(2, 5, 256, (1, 2, 3), (0, 0, -1), None, None, (7, 8, 9))),
    (6, 0, MACHINE, AUTO, cc.CoordinatesEvent(2, 6, 0, (1, 2, 3))),
    (6, 0, ANGLES, AUTO, cc.WristEvent(2, 6, 0, (30, 45))),
    (7, 0, POINT, AUTO, cc.PositionEvent(2, 7, 0, (1, 2, 3))),
    (8, 0xFFFE, b"", AUTO, cc.MoveRejectedEvent(2, 8, 0xFFFE, -2, False)),
    (8, 257, b"", AUTO, cc.MoveRejectedEvent(2, 8, 257, 257, True)),
    (13, 0, POINT, AUTO, cc.ScanPointEvent(2, 13, 0, (1, 2, 3))),
    (15, 0, b"", AUTO, cc.ScanEndEvent(2, 15, 0)),
    (16, 8, b"", AUTO, cc.MoveDoneEvent(2, 16, 8, cc.Report.TF_ON)),
    (16, 30, b"", AUTO, cc.MoveDoneEvent(2, 16, 30, 30)),
    (17, 273, b"\x01\x02", AUTO, cc.ControllerEvent(2, 17, 273, 0x0201)),
    (18, 274, b"\x50\x00", AUTO, cc.HoldEvent(2, 18, 274, cc.ControllerWord.START)),
    (19, 275, b"\x80\x00", AUTO, cc.ResumeEvent(2, 19, 275, cc.ControllerWord.RESET)),
    (20, 0x0114, b"\x07\x00", AUTO, cc.EmergencyEvent(2, 20, 0x0114, b"\x07\x00")),
    (21, 277, b"\x01\x00", AUTO, cc.ControllerEvent(2, 21, 277, 1)),
    (22, 22, b"", AUTO, cc.ControllerEvent(2, 22, 22, None)),
    (23, 23, b"", AUTO, cc.ControllerEvent(2, 23, 23, None)),
    (26, 9, WORDS, AUTO, cc.TemperaturesEvent(2, 26, 9, tuple(range(100, 132)), 9)),
    (27, 27, b"", CLIENT, cc.ControllerOnEvent(2, 27, 27)),
    (28, 28, b"", CLIENT, cc.ZeroingDoneEvent(2, 28, 28)),
    (99, 5, b"", AUTO, cc.Event(2, 99, 5)),
]


@pytest.mark.parametrize("number, info, data, mode, event", CASES)
def test_events(number: int, info: int, data: bytes, mode: int, event: cc.Event) -> None:
    buffer = ctypes.create_string_buffer(data, max(len(data), 1))
    made = make_event(2, number, info, ctypes.addressof(buffer) if data else None, mode)
    ctypes.memset(buffer, 0xFF, len(data))  # the data is the library's again
    assert (type(made), made) == (type(event), event)


def test_a_queue_that_nobody_reads_tells_what_it_dropped() -> None:
    queue = EventQueue()
    for number in range(CAPACITY + 2):
        queue.put(cc.Event(1, number, 0))
    with pytest.raises(cc.EventsLostError, match="2 events"):
        queue.take()
    assert queue.take() == cc.Event(1, 2, 0)


def test_positions_as_an_array() -> None:
    numpy = pytest.importorskip("numpy")
    events = [
        cc.ScanPointEvent(1, 13, 0, (1, 2, 3)),
        cc.ScanEndEvent(1, 15, 0),
        cc.PositionEvent(1, 7, 0, (4, 5, 6)),
    ]
    assert numpy.array_equal(cc.positions(events), [[1, 2, 3], [4, 5, 6]])
    assert cc.positions([]).shape == (0, 3)
