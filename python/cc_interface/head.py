"""The motorised probe head of an arm.

The waiting commands take 11 tries of "PH9 timeout" seconds each when the head stays silent: more than a minute by default."""

from __future__ import annotations

import ctypes
from typing import TYPE_CHECKING, Tuple

from .constants import HeadMode
from .errors import CommandError
from .motion import _finite

if TYPE_CHECKING:
    from .arm import Arm

_NOT_SENT = "the command could not be sent to the head"


class Head:
    """``arm.head``. Angles in the head's unit, degrees."""

    def __init__(self, arm: Arm) -> None:
        self._arm = arm

    @property
    def position(self) -> Tuple[float, float]:
        """Last known angles A and B. -1.0 until the head has reported, 0.0 for a simulated head and without one.
        Export: CC_PHGetPosition."""
        a, b = ctypes.c_double(), ctypes.c_double()
        self._arm._call("CC_PHGetPosition", self._arm.number, ctypes.byref(a), ctypes.byref(b), waits=False)
        return (a.value, b.value)

    @property
    def is_unknown(self) -> bool:
        """Whether an angle is -1.0, as until the head's first report; it does not tell motion. Export: CC_PHMoving."""
        return bool(self._arm._call("CC_PHMoving", self._arm.number, waits=False))

    @property
    def has_manual_mode(self) -> bool:
        """Whether the head's last answer told that manual mode is available. Export: CC_PHLevePresent."""
        return bool(self._arm._call("CC_PHLevePresent", self._arm.number, waits=False))

    @property
    def mode(self) -> HeadMode:
        """Export: CC_PHCurrentMode."""
        return HeadMode(self._arm._call("CC_PHCurrentMode", self._arm.number, waits=False))

    def update(self) -> None:
        """Asks the head for its position. Waits for the head; its silence is no error. Export: CC_PHUpdate."""
        self._arm._command("CC_PHUpdate", _NOT_SENT)

    def manual(self) -> None:
        """Manual mode. Waits for the head. Export: CC_PHMANMODE."""
        self._arm._command("CC_PHMANMODE", "the head has no manual mode, or " + _NOT_SENT)

    def automatic(self) -> None:
        """Automatic mode. Waits for the head; its silence is no error. Export: CC_PHAUTOMODE."""
        self._arm._command("CC_PHAUTOMODE", _NOT_SENT)

    def turn(self, a: float, b: float, *, force: bool = True) -> None:
        """Turns the head to the angles, sent with one decimal, so 45.06 is never reached. force False: nothing is sent
        when the head is there. Waits for the head. Export: CC_PHSetPosition."""
        angles = (_finite("a", a), _finite("b", b))
        try:
            self._arm._command("CC_PHSetPosition", "", *angles, int(force), 0)
        except CommandError as error:
            words = f"the head is at {self.position}, not at {angles}, in {self.mode.name.lower()} mode"
            raise CommandError(error.export, words) from None
