"""The loop in which the library's worker runs, on one thread."""

from __future__ import annotations

import ctypes
import math
import os
import select
import sys
from typing import Protocol

from .library import library


_LONGEST_POLL = 3600.0  # seconds; poll takes 32 bits of milliseconds


class Loop(Protocol):
    def wait(self, seconds: float | None) -> None:
        """Waits until the worker is due or the loop is woken, for that long at most."""

    def dispatch(self) -> None:
        """Runs the worker if it is due. Only on the thread that opened the first arm."""

    def wake(self) -> None:
        """Ends a wait, from any thread."""


if sys.platform == "win32":
    from ctypes import wintypes

    _QS_ALLINPUT = 0x04FF
    _PM_REMOVE = 1
    # Ctrl-C reaches Python between waits only.
    _LONGEST_WAIT_MS = 100

    _user32 = ctypes.WinDLL("user32")
    _kernel32 = ctypes.WinDLL("kernel32")
    _kernel32.CreateEventW.restype = wintypes.HANDLE
    _kernel32.CreateEventW.argtypes = [ctypes.c_void_p, wintypes.BOOL, wintypes.BOOL, wintypes.LPCWSTR]
    _kernel32.SetEvent.argtypes = [wintypes.HANDLE]
    _kernel32.CloseHandle.argtypes = [wintypes.HANDLE]
    _user32.MsgWaitForMultipleObjects.argtypes = [
        wintypes.DWORD,
        ctypes.POINTER(wintypes.HANDLE),
        wintypes.BOOL,
        wintypes.DWORD,
        wintypes.DWORD,
    ]
    _user32.PeekMessageW.argtypes = [
        ctypes.POINTER(wintypes.MSG),
        wintypes.HWND,
        wintypes.UINT,
        wintypes.UINT,
        wintypes.UINT,
    ]
    _user32.TranslateMessage.argtypes = [ctypes.POINTER(wintypes.MSG)]
    _user32.DispatchMessageW.argtypes = [ctypes.POINTER(wintypes.MSG)]
    _user32.DispatchMessageW.restype = ctypes.c_ssize_t

    class WindowsLoop:
        """By the thread's window messages: the worker is a window timer."""

        def __init__(self) -> None:
            self._event = wintypes.HANDLE(_kernel32.CreateEventW(None, False, False, None))

        def wait(self, seconds: float | None) -> None:
            milliseconds = (
                _LONGEST_WAIT_MS if seconds is None else min(math.ceil(seconds * 1000), _LONGEST_WAIT_MS)
            )
            _user32.MsgWaitForMultipleObjects(1, ctypes.byref(self._event), False, milliseconds, _QS_ALLINPUT)

        def dispatch(self) -> None:
            message = wintypes.MSG()
            while _user32.PeekMessageW(ctypes.byref(message), None, 0, 0, _PM_REMOVE):
                _user32.TranslateMessage(ctypes.byref(message))
                _user32.DispatchMessageW(ctypes.byref(message))

        def wake(self) -> None:
            _kernel32.SetEvent(self._event)

        def __del__(self) -> None:
            _kernel32.CloseHandle(self._event)

    def make_loop() -> Loop:
        return WindowsLoop()

else:

    class PosixLoop:
        """By the descriptor that the library gives out."""

        def __init__(self) -> None:
            self._read, self._write = os.pipe()
            os.set_blocking(self._read, False)
            os.set_blocking(self._write, False)

        def wait(self, seconds: float | None) -> None:
            poll = select.poll()
            poll.register(self._read, select.POLLIN)
            due = library().CC_LOOP_FD()
            if due >= 0:
                poll.register(due, select.POLLIN)
            # Rounded up, or the last part of a millisecond would be spent in haste.
            poll.poll(None if seconds is None else math.ceil(min(seconds, _LONGEST_POLL) * 1000))
            try:
                os.read(self._read, 4096)
            except BlockingIOError:
                pass

        def dispatch(self) -> None:
            library().CC_LOOP_DISPATCH()

        def wake(self) -> None:
            try:
                os.write(self._write, b"w")
            except BlockingIOError:
                pass  # it is full of wakes

        def __del__(self) -> None:
            os.close(self._read)
            os.close(self._write)

    def make_loop() -> Loop:
        return PosixLoop()
