"""An arm: a measuring machine with its controller, its line and its head."""

from __future__ import annotations

from .errors import UnsupportedError
from .head import Head
from .motion import Motion
from .scan import Scan


class Arm(Motion):
    """Opens an arm; use it in a ``with`` statement, which always closes it.

    number: 1 or 2. port: "COM3", for example; with CC_PORT_DIR set outside Windows $CC_PORT_DIR/com3, else /dev/ttyS2.
    head_port: of the probe head; None: no head. ini: path of the initialisation file; None: every setting has its default.
    simulation: the built-in simulator instead of a port. simulated_head: a head that does what it is told.
    linear_scale: length of one count of the controller, which sets the unit of all lengths: 0.0001 for a controller that
    counts 0.1 micrometres and a program that thinks in millimetres. wrist_scale: angle of one wrist count.
    extended_start: False for old controllers; the answer at opening then counts in stopped state only.
    own_thread: True: a thread of the package's own makes all calls and runs the worker, so that the arm can be used from
    every thread and works on while the program does something else. False: all is done on the thread that opens the first
    arm. None: as the other arm, else True on Windows, False elsewhere.
    on_event: a handler as of ``on``, there from the first event on. window: on Windows, a window of your thread that owns the
    worker's timer, with own_thread=False.

    Waits for the controller and the head. Raises OpenError. Export: CC_INIT."""

    @property
    def head(self) -> Head:
        """The probe head."""
        return Head(self)

    @property
    def scan(self) -> Scan:
        """Scanning; arm 1 only."""
        if self.number != 1:
            raise UnsupportedError("only arm 1 scans")
        return Scan(self)
