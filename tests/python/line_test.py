"""Sessions with an emulated controller on a pseudo-terminal."""

from __future__ import annotations

import contextlib
import logging
import signal
import subprocess
import threading
import time
from pathlib import Path
from typing import Any, Callable

import pytest

import cc_interface as cc

Emulate = Callable[..., "subprocess.Popen[str]"]


def test_both_arms_probe_a_sphere(emulate: Emulate, ini: Path, own_thread: bool) -> None:
    """The sphere of the emulator: centre 100, 80, 50, radius 15."""
    emulate(1)
    emulate(5, "--head", "--head-speed", "720")
    with cc.Arm(1, port="COM1", ini=ini, own_thread=own_thread) as first:
        with cc.Arm(2, port="COM5", head_port="COM6", ini=ini) as second:
            for arm in (first, second):
                assert arm.start().level == 16
                arm.zero(timeout=10)
                arm.set_status(cc.Order.MEASURING)
                arm.move((100, 80, 70))
            points = [arm.probe((100, 80, 60), approach=(0, 0, -1), timeout=10) for arm in (first, second)]
            assert [point.arm for point in points] == [1, 2]
            for point in points:
                assert point.position == pytest.approx((100, 80, 65), abs=0.01)
            second.head.turn(7.5, -15)
            assert second.head.position == (7.5, -15)
            assert first.read_parameters(1)[:3] == (6, 6, 6)
            statistics = first.link_statistics()
            assert statistics.frames_sent > 5 and statistics.frames_given_up == 0
            assert first.link_history()[-1].data[-1] == 8
            # Through the sphere: the machine collides and stops.
            with pytest.raises(cc.CommandError, match="stopped before point"):
                first.move((100, 80, 0))
                first.probe((0, 0, 0), timeout=10)
            assert first.wait_for(cc.EmergencyEvent, 1).code == 3


def test_what_the_controller_does_by_itself(emulate: Emulate, ini: Path) -> None:
    emulate(
        1, "--event", "48@2", "--event", "50@2.1", "--event", "52@2.2", "--event", "53@2.3", "--event", "51@2.4"
    )
    kinds = (cc.HoldEvent, cc.ResumeEvent, cc.ControllerEvent, cc.EmergencyEvent)
    came = []
    with cc.Arm(1, port="COM1", ini=ini, on_event=came.append) as arm:
        arm.wait_for(cc.EmergencyEvent, 10)
    numbers = [event.number for event in came if isinstance(event, kinds)]
    assert numbers == [18, 19, 21, 22, 20]


def test_a_table_that_the_controller_asks_for(emulate: Emulate, ini: Path) -> None:
    cc.store_table(1, range(512))
    emulator = emulate(1, "--wants-table", "--log")
    with cc.Arm(1, port="COM1", ini=ini) as arm:
        assert arm.status is cc.Status.READY or arm.until(lambda: arm.status is cc.Status.READY, 5)
    emulator.terminate()
    assert emulator.stdout is not None
    assert sum("S11" in line for line in emulator.stdout) == 129


def test_a_line_that_falls_silent(
    emulate: Emulate, ini: Path, own_thread: bool, caplog: pytest.LogCaptureFixture
) -> None:
    emulator = emulate(1)
    with cc.Arm(1, port="COM1", ini=ini, own_thread=own_thread) as arm:
        arm.start()
        emulator.send_signal(signal.SIGSTOP)
        with caplog.at_level(logging.WARNING, "cc_interface"), pytest.raises(cc.CommandError, match="CC_FEED"):
            arm.feed(10)
        assert "No ACK Received" in caplog.text  # nobody was asked to press a key
        assert arm.wait_for(cc.BoxEvent, 1).text == " No ACK Received "
        assert arm.wait_for(lambda event: isinstance(event, cc.LinkEvent) and event.lost, 10)
        emulator.send_signal(signal.SIGCONT)
        assert arm.wait_for(lambda event: isinstance(event, cc.LinkEvent) and not event.lost, 10)
        arm.feed(10)
        emulator.kill()
        emulator.wait()
        with pytest.raises(cc.CommandError, match="not acknowledged"):
            arm.feed(10)


def test_an_emergency_does_not_wait_for_the_call_that_runs(emulate: Emulate, ini: Path) -> None:
    emulator = emulate(1)
    with cc.Arm(1, port="COM1", ini=ini, own_thread=True) as arm:
        arm.start()
        emulator.send_signal(signal.SIGSTOP)

        def read() -> None:
            with contextlib.suppress(cc.CommandError):
                arm.read_io()

        reader = threading.Thread(target=read)
        reader.start()
        arm.emergency()
        assert reader.is_alive()
        emulator.send_signal(signal.SIGCONT)
        reader.join()
        arm.wait_for(cc.EmergencyEvent, 10)


def test_ctrl_c(emulate: Emulate, ini: Path, own_thread: bool) -> None:
    """A wait of the package ends at once; a call of the library ends first where it runs on the calling thread."""
    emulator = emulate(1)

    def interrupt(*_: Any) -> None:
        raise KeyboardInterrupt

    before = signal.signal(signal.SIGALRM, interrupt)
    try:
        with cc.Arm(1, port="COM1", ini=ini, own_thread=own_thread) as arm:
            for wait, longest in ((lambda: arm.run(60), 1.0), (arm.read_io, 0.9 if own_thread else 5)):
                signal.setitimer(signal.ITIMER_REAL, 0.1)
                begin = time.monotonic()
                with pytest.raises(KeyboardInterrupt):
                    wait()
                assert time.monotonic() - begin < longest
                emulator.send_signal(signal.SIGSTOP)
            emulator.send_signal(signal.SIGCONT)
            assert arm.read_io() == (0, 0)
        # An opening that succeeds half a second later.
        signal.setitimer(signal.ITIMER_REAL, 0.1)
        with pytest.raises(KeyboardInterrupt):
            cc.Arm(1, port="COM1", ini=ini, own_thread=own_thread)
        assert cc.library().CC_GETSTATUS(1) == -1
        with cc.Arm(1, port="COM1", ini=ini, own_thread=not own_thread) as arm:
            assert arm.start().type == 1
    finally:
        signal.signal(signal.SIGALRM, before)


def test_openings_that_fail(emulate: Emulate, ini: Path) -> None:
    emulate(5, "--head", "--head-silent")
    for result, words, port, head in (
        (526, "is no port", "COM300", None),
        (527, "could not be opened", "COM9", None),
        (1038, "no port for the head", "COM5", "head"),
    ):
        with pytest.raises(cc.OpenError, match=words) as failure:
            cc.Arm(1, port=port, head_port=head, ini=ini)
        assert failure.value.result == result
