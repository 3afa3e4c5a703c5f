"""Sessions on the built-in simulator, each on the calling thread and on a thread of the package's own."""

from __future__ import annotations

import asyncio
import gc
import subprocess
import sys
import threading
from pathlib import Path

import pytest

import cc_interface as cc
from conftest import Opener


def test_a_session(simulated: Opener) -> None:
    arm = simulated(simulated_head=True)
    assert [axis.is_fitted for axis in arm.info().axes] == [True, True, True, False, False, False]
    assert arm.wait_for(cc.LinkEvent, 1).lost is False
    arm.zero(timeout=5)
    assert arm.status is cc.Status.READY and f"{arm.status}" == "READY"
    with pytest.raises(cc.CommandError, match="READY: set_status"):
        arm.probe((1, 2, 3))
    arm.set_status(cc.Order.MEASURING)
    numpy = pytest.importorskip("numpy")
    arm.move(numpy.array([1, 2, 3]))
    point = arm.probe((10, 20, 30), approach=(0, 0, -1), point_id=42, timeout=5)
    assert (point.position, point.approach, point.point_id) == ((10, 20, 30), (0, 0, -1), 42)
    arm.run(0.05)
    reports = [event.report for event in arm.events(cc.MoveDoneEvent, timeout=0)]
    assert reports == [cc.Report.MOVE, cc.Report.PROBING_MOVE]
    arm.move((10, 20, 30))
    while not list(arm.events(cc.MoveDoneEvent, timeout=0)):
        pass  # a look without a wait lets the library work, too
    assert arm.coordinates() == (10, 20, 30)
    assert list(arm.events(timeout=0)) == []
    arm.write_stored_info(1, 2, 3)
    assert arm.read_stored_info() == (1, 2, 3)
    arm.write_io(5, 65535)
    assert arm.read_io() == (5, 65535)
    arm.request_temperatures()
    assert arm.wait_for(cc.TemperaturesEvent, 1).words[:3] == (1000, 2000, 3000)
    arm.head.turn(7.5, -15)
    assert (arm.head.position, arm.head.mode, arm.head.is_unknown) == ((7.5, -15), cc.HeadMode.AUTOMATIC, False)
    for file, report in (
        (lambda: arm.speed(cc.SpeedKind.SPEED_1, 50), cc.Report.SPEED_1),
        (lambda: arm.fly(True), cc.Report.FLY),
        (lambda: arm.fly_length(0.5), cc.Report.FLY_LENGTH),
        (lambda: arm.move_table(5), cc.Report.MOVE),
    ):
        file()
        assert arm.wait_for(cc.MoveDoneEvent, 1).report is report
    arm.scan.set_frame([[1, 0, 0], [0, 1, 0], [0, 0, 1]], (0, 0, 0))
    arm.scan.start()
    arm.wait_for(cc.ScanEndEvent, 1)


def test_wrong_arguments_reach_nothing(simulated: Opener, ini: Path) -> None:
    arm = simulated()
    arm.set_status(cc.Order.MEASURING)
    before = arm.coordinates()
    nan, infinite = float("nan"), float("inf")
    for kind, call in (
        (ValueError, lambda: arm.move((nan, 0, 0))),
        (ValueError, lambda: arm.move((214748.3648, 0, 0))),
        (ValueError, lambda: arm.move((0, 0))),
        (TypeError, lambda: arm.move(None)),
        (ValueError, lambda: arm.move((0, 0, 0), approach=(0, 0, infinite))),
        (ValueError, lambda: arm.move((0, 0, 0), point_id=65504)),
        (ValueError, lambda: arm.move((0, 0, 0), 3)),
        (ValueError, lambda: arm.move((0, 0, 0), feed=32768)),
        (ValueError, lambda: arm.move((0, 0, 0), m=infinite)),
        (ValueError, lambda: arm.fly_length(0.00001)),
        (ValueError, lambda: arm.set_status(2)),
        (TypeError, lambda: arm.feed(1.5)),
        (ValueError, lambda: arm.emergency(65536)),
        (ValueError, lambda: arm.read_parameters(9)),
        (ValueError, lambda: arm.write_io(65536, 0)),
        (ValueError, lambda: arm.scan.set_frame([[3, 0, 0]] * 3, (0, 0, 0))),
        (ValueError, lambda: cc.store_table(1, [0] * 511)),
        (ValueError, lambda: cc.Arm(3, simulation=True)),
        (ValueError, lambda: cc.Arm(2)),
        (ValueError, lambda: cc.Arm(2, simulation=True, linear_scale=0)),
        (FileNotFoundError, lambda: cc.Arm(2, simulation=True, ini="no.ini")),
        (cc.CCInterfaceError, lambda: cc.Arm(1, simulation=True)),
        (cc.OpenError, lambda: cc.Arm(2, port="COM0", ini=ini)),
        (cc.CommandError, lambda: arm.send_frame(b"x" * 300)),
    ):
        with pytest.raises(kind):
            call()
    arm.run(0.05)
    assert arm.coordinates() == before and list(arm.events(cc.MoveDoneEvent, timeout=0)) == []


def test_what_handlers_raise_comes_out(simulated: Opener, own_thread: bool) -> None:
    arm = simulated()
    arm.set_status(cc.Order.MEASURING)
    threads = []

    def fail(event: cc.Event) -> None:
        threads.append(threading.current_thread())
        remove()
        arm.move((1, 1, 1))  # filing is allowed
        raise KeyError(type(event).__name__)

    remove = arm.on(fail)
    arm.move((0, 0, 0))
    with pytest.raises(KeyError, match="MoveDoneEvent"):
        arm.run(5)
    assert (threads == [threading.current_thread()]) is not own_thread
    assert len([arm.wait_for(cc.MoveDoneEvent, 1) for _ in range(2)]) == 2
    remove = arm.on(lambda event: arm.set_status(cc.Order.READY))
    arm.move((0, 0, 0))
    with pytest.raises(cc.CalledFromHandlerError, match="CC_SETSTATUS waits"):
        arm.run(5)
    remove()
    arm.on(lambda event: arm.close())
    arm.move((0, 0, 0))
    with pytest.raises(cc.ClosedError):
        arm.run(5)


def test_arms_that_are_closed_or_left_open(simulated: Opener, ini: Path, own_thread: bool) -> None:
    arm = simulated()
    arm.close()
    arm.close()
    for call in (
        lambda: arm.status,
        arm.start,
        lambda: arm.move((0, 0, 0)),
        arm.can_send,
        lambda: arm.head.position,
    ):
        with pytest.raises(cc.ClosedError):
            call()
    left = cc.Arm(1, simulation=True, ini=ini, own_thread=own_thread)
    left.on(lambda event, arm=left: arm.close())
    opening = left._opening
    with pytest.warns(ResourceWarning, match="arm 1 was not closed"):
        del left
        gc.collect()
    assert simulated().start().type == 1
    assert opening.is_over


def test_threads(simulated: Opener, own_thread: bool) -> None:
    arm = simulated()
    with pytest.raises(cc.WrongThreadError, match="other arm"):
        cc.Arm(2, simulation=True, own_thread=not own_thread)
    results: list[object] = []

    def ask() -> None:
        try:
            results.append(arm.coordinates())
        except cc.WrongThreadError as error:
            results.append(type(error))

    threads = [threading.Thread(target=ask) for _ in range(4)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    assert results == [arm.coordinates() if own_thread else cc.WrongThreadError] * 4
    arm.close()
    opener = threading.Thread(target=lambda: results.append(simulated()))
    opener.start()
    opener.join()
    left = results.pop()
    assert isinstance(left, cc.Arm)
    if not own_thread:
        with pytest.raises(cc.WrongThreadError):
            left.run(0)
    left.close()
    assert simulated().is_open


def test_asyncio(simulated: Opener) -> None:
    """The loop goes on while events are awaited, also when the library's descriptor has become another."""

    async def measure(arm: cc.Arm) -> list[cc.Report]:
        arm.set_status(cc.Order.MEASURING)
        for i in range(3):
            arm.move((i, 0, 0))
        turns = 0

        async def turn() -> None:
            nonlocal turns
            while True:
                await asyncio.sleep(0)
                turns += 1

        turning = asyncio.create_task(turn())
        with pytest.raises(cc.WaitTimeoutError):
            await arm.wait_for_async(cc.ScanEndEvent, 0.1)
        assert turns > 100
        arm.on(lambda event: 1 // 0)
        arm.fly(True)
        with pytest.raises(ZeroDivisionError):
            await arm.until_async(lambda: False, 5)
        turning.cancel()
        reports = [event.report async for event in arm.events(cc.MoveDoneEvent, timeout=0.1)]
        asyncio.get_running_loop().call_soon(arm.close)
        assert [event async for event in arm.events(cc.ScanEndEvent)] == []
        return reports

    async def twice() -> None:
        for _ in range(2):
            expected = [cc.Report.MOVE] * 3 + [cc.Report.FLY]
            assert await measure(simulated()) == expected

    for _ in range(2):
        asyncio.run(twice())


def test_the_session_of_the_readme(tmp_path: Path, ini: Path) -> None:
    readme = (Path(__file__).resolve().parents[2] / "README.md").read_text()
    program = readme.split("```python\n")[1].split("```")[0].replace('port="COM3"', "simulation=True")
    ended = subprocess.run(
        [sys.executable, "-c", program], cwd=tmp_path, capture_output=True, text=True, timeout=60
    )
    assert (ended.stdout, ended.stderr) == ("point 42: 100.0000 80.0000 60.0000\n", "")


def test_a_program_that_ends_with_an_arm_open(ini: Path, own_thread: bool) -> None:
    program = (
        f"import cc_interface as cc; arm = cc.Arm(1, simulation=True, ini={str(ini)!r}, own_thread={own_thread})\n"
        "arm.start(); print(arm.on(print) and arm.status)"
    )
    ended = subprocess.run([sys.executable, "-c", program], capture_output=True, text=True, timeout=30)
    assert (ended.returncode, ended.stdout, ended.stderr) == (0, "READY\n", "")
