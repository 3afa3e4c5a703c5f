"""What the tests of the Python package share: arms that answer quickly, in simulation and on an emulated line."""

from __future__ import annotations

import os
import subprocess
from pathlib import Path
from typing import Any, Callable, Iterator

import pytest

import cc_interface as cc

BUILD = Path(os.environ["CC_INTERFACE_LIBRARY"]).parent

Opener = Callable[..., cc.Arm]


@pytest.fixture(params=[False, True], ids=["caller", "own_thread"])
def own_thread(request: Any) -> bool:
    return bool(request.param)


@pytest.fixture
def ini(tmp_path: Path) -> Path:
    path = tmp_path / "machine.ini"
    path.write_text("[Timers]\nLo Period=5\nHi Period=5\ntimeout=1\nPH9 timeout=1\nLine mode=1\n")
    return path


@pytest.fixture
def simulated(ini: Path, own_thread: bool) -> Iterator[Opener]:
    """Opens arms in simulation; they are closed in the end."""
    arms: list[cc.Arm] = []

    def open_arm(number: int = 1, **options: Any) -> cc.Arm:
        arms.append(cc.Arm(number, simulation=True, ini=ini, own_thread=own_thread, **options))
        arms[-1].start()
        return arms[-1]

    yield open_arm
    for arm in arms:
        arm.close()


@pytest.fixture
def emulate(tmp_path: Path, monkeypatch: pytest.MonkeyPatch) -> Iterator[Callable[..., subprocess.Popen[str]]]:
    """Starts emulated controllers on ports of the library's; they are killed in the end."""
    ports = tmp_path / "ports"
    ports.mkdir()
    monkeypatch.setenv("CC_PORT_DIR", str(ports))
    started: list[subprocess.Popen[str]] = []

    def start(port: int, *options: str) -> subprocess.Popen[str]:
        command = [str(BUILD / "cmm-emulator"), "--link-dir", str(ports), "--port", str(port), "--speed", "500"]
        command += ["--probing-speed", "500", *options]
        emulator = subprocess.Popen(command, stdout=subprocess.PIPE, text=True)
        started.append(emulator)
        assert emulator.stdout is not None
        assert emulator.stdout.readline().startswith("controller on")
        assert "--head" not in options or emulator.stdout.readline().startswith("head on")
        return emulator

    yield start
    for emulator in started:
        emulator.kill()
        emulator.communicate()
