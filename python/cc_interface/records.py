"""What queries give back."""

from __future__ import annotations

from dataclasses import dataclass
from typing import Tuple

from .constants import AxisKind
from .exports import LINK_COUNTERS, ControllerInfoRecord, LinkFrameRecord, LinkStatisticsRecord

Vector = Tuple[float, float, float]


@dataclass(frozen=True)
class AxisInfo:
    """One axis of the controller."""

    kind: int  # AxisKind.NONE, AxisKind.LINEAR, any other number: angular
    flags: int  # bits 0 and 1: the controller's two flags of this axis

    @property
    def is_fitted(self) -> bool:
        return self.kind != AxisKind.NONE


@dataclass(frozen=True)
class ControllerInfo:
    """What the controller told of itself."""

    type: int  # ControllerValue.NOT_TOLD before the first answer
    level: int
    axes: Tuple[AxisInfo, ...]  # six
    option_code: int
    extra: Tuple[int, int]  # from the newer controllers only: types 2, 4, 5 and 16

    @classmethod
    def from_record(cls, record: ControllerInfoRecord) -> ControllerInfo:
        axes = tuple(AxisInfo(axis.kind, axis.flags) for axis in record.axes)
        extra = (record.extra[0], record.extra[1])
        return cls(record.controllerType, record.controllerLevel, axes, record.optionCode, extra)


@dataclass(frozen=True)
class LinkStatistics:
    """What went over an arm's line since its link was reset, which each opening on a real port does."""

    frames_sent: int  # data frames, each for the first time
    frames_repeated: int
    frames_given_up: int  # after four transmissions
    frames_received: int  # data frames that were right and new
    frames_ignored: int  # data frames that were received before
    acknowledgements_sent: int
    acknowledgements_received: int
    line_errors_sent: int
    line_errors_received: int
    start_links_sent: int
    start_links_received: int
    start_acks_sent: int
    start_acks_received: int

    @classmethod
    def from_record(cls, record: LinkStatisticsRecord) -> LinkStatistics:
        return cls(*(getattr(record, name) for name in LINK_COUNTERS))


@dataclass(frozen=True)
class LinkFrame:
    """A frame of the link's history."""

    sent: bool  # by the host, else by the controller
    length: int  # bytes of the whole frame; 255 for 255 and more
    data: bytes  # its beginning, 14 bytes at most, as it stood on the line

    @classmethod
    def from_record(cls, record: LinkFrameRecord) -> LinkFrame:
        return cls(bool(record.sent), record.length, bytes(record.bytes)[: record.length])
