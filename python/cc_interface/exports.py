"""Every export of the library with the types of its arguments and its result, and the records that they take.

Integers outside their width are refused: ctypes alone would send what is left of them to the machine.
"""

from __future__ import annotations

import ctypes
import operator
import sys
from ctypes import (
    POINTER,
    c_char_p,
    c_double,
    c_int,
    c_int16,
    c_int32,
    c_size_t,
    c_uint8,
    c_uint16,
    c_uint32,
    c_void_p,
)
from typing import Any, Tuple

WINDOWS = sys.platform == "win32"

if sys.platform == "win32":
    _function_type = ctypes.WINFUNCTYPE
else:
    _function_type = ctypes.CFUNCTYPE


def _checked(base: Any) -> Any:
    """The integer type as an argument that is checked."""
    bits = 8 * ctypes.sizeof(base)
    lowest = 0 if base(-1).value > 0 else -(1 << bits - 1)
    highest = lowest + (1 << bits) - 1

    class Checked(base):  # type: ignore[misc]
        @classmethod
        def from_param(cls, value: Any) -> Any:
            number = operator.index(value)
            if not lowest <= number <= highest:
                raise ValueError(f"{number} is not between {lowest} and {highest}")
            return base(number)

    Checked.__name__ = base.__name__
    return Checked


int16, uint8, uint16, uint32, integer, uintptr = map(
    _checked, (c_int16, c_uint8, c_uint16, c_uint32, c_int, c_size_t)
)


# Receives events: number, info, data. Keep it while the arm is open. No exception may leave it.
Notify = _function_type(None, c_int32, c_uint32, c_void_p)

# Shows a message box: text, the user's pointer. Keep it while it is set. No exception may leave it.
ShowBox = ctypes.CFUNCTYPE(None, c_char_p, c_void_p)


class OrNull:
    """An argument that is a callback of this type or None."""

    def __init__(self, callback: Any) -> None:
        self.callback = callback

    def from_param(self, value: Any) -> Any:
        return None if value is None else self.callback.from_param(value)


notify_or_null, show_box_or_null = OrNull(Notify), OrNull(ShowBox)


class AxisInfoRecord(ctypes.Structure):
    _fields_ = [("kind", c_uint16), ("flags", c_uint16), ("spare", c_uint16)]


class ControllerInfoRecord(ctypes.Structure):
    _fields_ = [
        ("controllerType", c_uint16),
        ("controllerLevel", c_uint16),
        ("spare", c_uint16),
        ("axes", AxisInfoRecord * 6),
        ("optionCode", c_uint16),
        ("extra", c_uint16 * 2),
    ]


class PointRecord(ctypes.Structure):
    _fields_ = [
        ("kind", c_int32),
        ("tag", c_uint32),
        ("position", c_double * 3),
        ("approach", c_double * 3),
        ("second", c_double * 3),
    ]


class StoredInfoRecord(ctypes.LittleEndianStructure):
    _pack_ = 1
    _fields_ = [("first", c_uint32), ("second", c_uint32), ("third", c_uint16)]


LINK_COUNTERS = (
    "framesSent framesRepeated framesGivenUp framesReceived framesIgnored acknowledgementsSent "
    "acknowledgementsReceived lineErrorsSent lineErrorsReceived startLinksSent startLinksReceived startAcksSent "
    "startAcksReceived"
).split()
LINK_FRAMES = 32
LINK_FRAME_BYTES = 14


class LinkStatisticsRecord(ctypes.Structure):
    _fields_ = [(name, c_uint32) for name in LINK_COUNTERS]


class LinkFrameRecord(ctypes.Structure):
    _fields_ = [("sent", c_uint8), ("length", c_uint8), ("bytes", c_uint8 * LINK_FRAME_BYTES)]


_doubles = POINTER(c_double)
_words = POINTER(c_uint16)
_table = POINTER(c_uint32)
_text = c_char_p
_pointer = c_void_p

_Signature = Tuple[Any, ...]  # type of the result, types of the arguments

_OPEN = (int16, c_double, c_double, uint16, _text)
_MOVE = (int16, _doubles, uint32, uint8, _doubles, _doubles, int16)

# On Windows all of these use the standard calling convention but LEV2_MANSOM.
SIGNATURES: dict[str, _Signature] = {
    "CC_INIT": (c_uint16, _pointer, int16, notify_or_null, _text, _text, *_OPEN),
    "CC_START": (c_int16, int16, _pointer, int16),
    "CC_DONE": (None, int16, int16),
    "CreateCounter": (c_int16,),
    "DeleteCounter": (c_int16, int16),
    "GetCounter": (c_int16, int16),
    "L2HI_WORKER": (None, _pointer, uint32, uintptr, uint32),
    "L2HI_WORKER_TEMP": (c_int16,),
    "LEV2_MANAGER": (None, uint32, uint32, uintptr, uintptr, uintptr),
    "LEV2_MANSOM": (None, _pointer),
    "CC_NCONOFF": (c_int16, int16, int16),
    "CC_OPBUF": (c_int16, int16, int16),
    "CC_SETSTATUS": (c_int16, int16, int16),
    "CC_EMERGENCY": (c_int16, int16, int16),
    "CC_ZEROES": (c_int16, int16),
    "CC_ZEROESAB": (c_int16, int16),
    "CC_NCONWAITSTART": (c_int16, int16, int16),
    "CC_FEED": (c_int16, int16, int16),
    "CC_ENDIS_AXES": (c_int16, int16, int16, int16, _pointer),
    "CC_ENDIS_STARTHOLD_MSG": (c_int16, int16, int16),
    "CC_ENDIS_TP200": (c_int16, int16, int16),
    "CC_TFMODE": (c_int16, int16, int16),
    "CC_SETINFO": (c_int16, int16, _pointer),
    "CC_GETINFO": (c_int16, int16, _pointer),
    "CC_STORE_COSDAT": (None, int16, _table),
    "CC_FREEFRAME": (c_int16, int16, _pointer, int16, int16, int16),
    "CC_ASKCOORD": (None, int16, int16),
    "CC_INFO": (c_int16, int16, _pointer),
    "CC_IO": (c_int16, int16, int16, _words),
    "CC_READ_PARAM": (c_int16, int16, int16, _doubles),
    "CC_READTEMP": (c_int16, int16),
    "CC_GETCOORD": (c_int16, int16),
    "CC_GETWRISTCOORD": (c_int16, int16),
    "CC_GETRTCOORD": (c_int16, int16),
    "CC_GETSTATUS": (c_int16, int16),
    "CC_BUFFRESET": (None, int16),
    "CC_CANSEND": (c_int16, int16, int16),
    "CC_MOVE": (None, int16, *_MOVE),
    "CC_MOVEINCR": (None, int16, _doubles, uint32, int16),
    "CC_MOVERT": (None, int16, _doubles, uint32, int16),
    "CC_MOVEINCRRT": (None, int16, _doubles, uint32, int16),
    "CC_MOVEWRIST": (None, int16, _doubles, uint32, int16),
    "CC_MOVEWRISTINCR": (None, int16, _doubles, uint32, int16),
    "CC_SPEED": (None, int16, int16, int16),
    "CC_MOVING": (c_int16, int16),
    "CC_FLYONOFF": (None, int16, int16),
    "CC_FLYLEN": (None, int16, c_double),
    "CC_PHGetPosition": (None, int16, _doubles, _doubles),
    "CC_PHLevePresent": (c_int16, int16),
    "CC_PHCurrentMode": (c_int16, int16),
    "CC_PHUpdate": (c_int16, int16),
    "CC_PHMANMODE": (c_int16, int16),
    "CC_PHAUTOMODE": (c_int16, int16),
    "CC_PHSetPosition": (c_int16, int16, c_double, c_double, int16, uint32),
    "CC_PHMoving": (c_int16, int16),
    "L2S_SetRotMatrix": (None, _doubles, _doubles),
    "L2S_SetTipRad": (None, _doubles),
    "L2S_SetRegDepth": (None, _doubles, _doubles),
    "L2S_SetTargetPoint": (None, _doubles, _doubles),
    "L2S_SetMaxMinStep": (None, _doubles, _doubles),
    "L2S_SetTreshold": (None, _doubles),
    "L2S_StartScan": (c_int16,),
    "L2S_StopScan": (c_int16,),
    "L2_INIT": (c_uint16, _pointer, notify_or_null, _text, _text, int16, c_double, uint16),
    "L2_END_INIT": (c_int16, _pointer),
    "L2_DONE": (None, int16),
    "L2_BUFFRESET": (None,),
    "L2_CanSend": (c_int16, int16),
    "L2_MOVE": (None, *_MOVE),
    "L2_SPEED": (None, int16, int16),
    "L2_NCONOFF": (c_int16, int16),
    "L2_ASKCOORD": (None, int16),
    "L2_OPBUF": (c_int16, int16),
    "L2_SETSTATUS": (c_int16, int16),
    "L2_EMERGENCY": (c_int16, int16),
    "L2_ZEROES": (c_int16,),
    "L2_MOVING": (c_int16,),
    "L2_INFO": (c_int16, _pointer),
    "L2_SETINFO": (c_int16, _pointer),
    "L2_GETINFO": (c_int16, _pointer),
    "L2_NCONWAITSTART": (c_int16, int16),
    "L2_FLYONOFF": (None, int16),
    "L2_FLYLEN": (None, c_double),
    "L2_FEED": (c_int16, int16),
    "L2_ENDIS_AXES": (c_int16, int16, int16, _pointer),
    "L2_GETSTATUS": (c_int16,),
    "L2_STORE_COSDAT": (None, _table),
    "L2_FREEFRAME": (c_int16, _pointer, int16, int16, int16),
    "L2_GETCOORD": (c_int16,),
    "L2_ENDIS_STARTHOLD_MSG": (c_int16, int16),
    "L2_ENDIS_TP200": (c_int16, int16),
    "L2_IO": (c_int16, int16, _words),
    "L2_READ_PARAM": (c_int16, int16, _doubles),
    "L2_SETDISTDEPTH": (c_int16, uint32, uint32),
    "PH9_GetPosition": (None, _doubles, _doubles),
    "PH9_LevePresent": (c_int16,),
    "PH9_CurrentMode": (c_int16,),
    "PH9_Update": (c_int16,),
    "PH9_MANMODE": (c_int16,),
    "PH9_AUTOMODE": (c_int16,),
    "PH9_SetPosition": (c_int16, c_double, c_double, int16, uint32),
    "PH9_Moving": (c_int16,),
}

# Those that Windows does not have.
POSIX_SIGNATURES: dict[str, _Signature] = {
    "CC_LOOP_FD": (c_int,),
    "CC_LOOP_DISPATCH": (c_int,),
    "CC_LOOP_RUN": (c_int, integer),
    "CC_SET_MESSAGE_BOX": (None, show_box_or_null, _pointer),
    "CC_LINK_STATISTICS": (c_int16, int16, POINTER(LinkStatisticsRecord)),
    "CC_LINK_HISTORY": (c_int16, int16, POINTER(LinkFrameRecord), int16),
}
