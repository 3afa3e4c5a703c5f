"""The public values of the library. A member is called as in the C header, without the prefix of its group."""

from __future__ import annotations

from enum import IntEnum, IntFlag


class Value(IntEnum):
    """A number that is shown by its name."""

    def __str__(self) -> str:
        return self.name

    def __format__(self, form: str) -> str:
        return int.__format__(self, form) if form else self.name


class OpenResult(Value):
    """What opening an arm ends with; all but OK come as :class:`cc_interface.OpenError`."""

    OK = 0
    LINK_START_FAILED = 515
    TIMER_FAILED = 525
    BAD_PORT = 526
    PORT_NOT_OPENED = 527
    NO_ANSWER = 769
    TABLE_FAILED = 770
    WORKER_FAILED = 771
    BAD_HEAD_PORT = 1038


class OpenFlag(IntFlag):
    """What is simulated."""

    SIMULATION = 1
    SIMULATED_HEAD = 2


class StartMode(Value):
    """Who orders status ready after zeroing, a stop and switching on."""

    AUTOMATIC = 0  # the library's worker
    CLIENT = 1  # the program, which also hears of it: ControllerOnEvent, ZeroingDoneEvent


class Shutdown(Value):
    """How a controller is left when its arm is closed."""

    READY = 0
    EMERGENCY = 1
    P12 = 2  # by the shutdown command P12


class Status(Value):
    """What the controller does, by its last report."""

    UNKNOWN = -1
    READY = 0
    MEASURING = 1
    STOPPED = 2  # emergency too
    ZEROING = 3
    STARTING = 4


class Order(Value):
    """A status that can be ordered."""

    READY = 0
    MEASURING = 1
    STOPPED = 5


class Switch(Value):
    """Off and on; every argument of this kind takes True and False too."""

    OFF = 0
    ON = 1


class BufferOperation(Value):
    """Operations of the controller's buffer: S25, S26, S27."""

    RESET = 0
    OPBUF_1 = 1
    OPBUF_2 = 2


class MoveMode(Value):
    """Linear moves: G01, G06, G05."""

    PLAIN = 0
    G06 = 1
    PROBING = 2


class SpeedKind(Value):
    """Speed settings: G30, G37, G36."""

    SPEED_0 = 0
    SPEED_1 = 1
    SPEED_2 = 2


class FrameKind(Value):
    """What is done with a message that the program composed."""

    BUFFERED = 4  # filed among the moves
    QUEUED = 5  # sent; what is awaited already is waited for
    AWAITED = 6  # sent; its answer is waited for


class IoMode(Value):
    """What is done with the controller's I/O words."""

    WRITE = 0
    READ = 1


class HeadMode(Value):
    """Who turns the probe head."""

    AUTOMATIC = 0
    MANUAL = 1


class AxisKind(Value):
    """What an axis is; any other number is an angular one."""

    NONE = 0
    LINEAR = 1


class ControllerValue(Value):
    """Values of the controller's information."""

    NOT_TOLD = 65535  # type and option code before the first answer
    OPTION_P10 = 4  # the controller knows P10


class CoordinatesTag(Value):
    """Whose coordinates a report holds."""

    MACHINE = 0
    WRIST = 1


class EventNumber(Value):
    """Numbers of the events."""

    LINK = 1
    REPORT_1 = 2
    EMERGENCY = 3
    REPORT_3 = 4
    POINT = 5
    COORDINATES = 6
    POSITION = 7
    MOVE_REJECTED = 8
    SCAN_POINT = 13
    SCAN_END = 15
    MOVE_DONE = 16
    EVENT_17 = 17
    HOLD = 18
    RESUME = 19
    EMERGENCY_51 = 20
    EVENT_21 = 21
    EVENT_22 = 22
    EVENT_23 = 23
    TEMPERATURES = 26
    CONTROLLER_ON = 27
    ZEROING_DONE = 28


class LinkInfo(Value):
    """State of the link, as info of a link event."""

    IN_ORDER = 1
    LOST = 257


class PointInfo(Value):
    """What a touch point belongs to."""

    PLAIN = 0  # none of the program's moves
    BUFFERED = 1  # a probing move that was filed
    AND_SECOND = 256  # as PLAIN, with a second point


class ControllerWord(Value):
    """Words of hold and resume events that the library gives by itself."""

    START = 80
    RESET = 128


class Report(Value):
    """Which motion command is done."""

    MOVE = 0
    PROBING_MOVE = 1
    FLY = 2
    FLY_LENGTH = 3
    SPEED_0 = 4
    SPEED_1 = 5
    SPEED_2 = 6
    INCREMENTAL = 7
    TF_ON = 8
    TF_OFF = 9
    SCAN = 16
