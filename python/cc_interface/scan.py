"""Scanning, which arm 1 has. The setters keep values for the next start and send nothing."""

from __future__ import annotations

import ctypes
from typing import TYPE_CHECKING, Any, Sequence

from .errors import CommandError
from .motion import _finite, _values, checked_length

if TYPE_CHECKING:
    from .arm import Arm

# A rotation matrix's element of 1 is sent as 10^9, in 32 bits.
_LARGEST_ELEMENT = 2.147483647


class Scan:
    """``arm.scan``. Lengths in the unit of linear_scale. Values stay in force across scans and closings."""

    def __init__(self, arm: Arm) -> None:
        self._arm = arm

    def _set(self, export: str, *values: Any) -> None:
        self._arm._call(export, *values, waits=False)

    def _lengths(self, **lengths: float) -> list[Any]:
        scale = self._arm.linear_scale
        return [ctypes.c_double(checked_length(name, value, scale)) for name, value in lengths.items()]

    def set_frame(self, matrix: Sequence[Sequence[float]], offset: Sequence[float]) -> None:
        """Coordinate system of the scan: rotation matrix, three rows of three, and offset. Export: L2S_SetRotMatrix."""
        rows = [_values("a row", row, 3) for row in matrix]
        if len(rows) != 3:
            raise ValueError(f"the matrix has 3 rows, not {len(rows)}")
        if any(abs(_finite("element", element)) > _LARGEST_ELEMENT for row in rows for element in row):
            raise ValueError("a rotation matrix has no element beyond 1")
        scale = self._arm.linear_scale
        lengths = [checked_length("offset", value, scale) for value in _values("offset", offset, 3)]
        elements = (ctypes.c_double * 9)(*rows[0], *rows[1], *rows[2])
        self._set("L2S_SetRotMatrix", elements, (ctypes.c_double * 3)(*lengths))

    def set_tip_radius(self, radius: float) -> None:
        """Export: L2S_SetTipRad."""
        self._set("L2S_SetTipRad", *self._lengths(radius=radius))

    def set_depths(self, first: float, second: float) -> None:
        """Depths between which the scan is regulated. Export: L2S_SetRegDepth."""
        self._set("L2S_SetRegDepth", *self._lengths(first=first, second=second))

    def set_target(self, x: float, y: float) -> None:
        """Target point in the scan's coordinate system. Export: L2S_SetTargetPoint."""
        self._set("L2S_SetTargetPoint", *self._lengths(x=x, y=y))

    def set_steps(self, largest: float, smallest: float) -> None:
        """Largest and smallest step between points. Export: L2S_SetMaxMinStep."""
        self._set("L2S_SetMaxMinStep", *self._lengths(largest=largest, smallest=smallest))

    def set_threshold(self, threshold: float) -> None:
        """Export: L2S_SetTreshold."""
        self._set("L2S_SetTreshold", *self._lengths(threshold=threshold))

    def start(self) -> None:
        """Sends the values and starts the scan, after what is in the move buffer. Points come as ScanPointEvent, the end
        as ScanEndEvent. Waits for the controller three times. Export: L2S_StartScan."""
        self._check(self._arm._call("L2S_StartScan"), "L2S_StartScan", "the scan did not start")

    def stop(self) -> None:
        """Stops the scan. Waits for nothing. Export: L2S_StopScan."""
        words = "no scan runs, or the controller is not measuring"
        self._check(self._arm._call("L2S_StopScan", waits=False), "L2S_StopScan", words)

    def _check(self, result: int, export: str, words: str) -> None:
        if result == 0:
            raise CommandError(export, words)
