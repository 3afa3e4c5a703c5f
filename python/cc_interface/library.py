"""Finding and loading the library, and its exports by their names: ``library().CC_GETSTATUS(1)``."""

from __future__ import annotations

import ctypes
import os
import sys
import threading
from pathlib import Path
from typing import Any, Callable, Iterator

from .errors import LibraryNotFoundError, UnsupportedError
from .exports import POSIX_SIGNATURES, SIGNATURES, WINDOWS

VARIABLE = "CC_INTERFACE_LIBRARY"

if WINDOWS:
    _FILE = "CC_Interface.dll"
    _SYSTEM_NAMES = [_FILE]
else:
    _FILE = "libCC_Interface.so"
    # The name without a number comes with the development files, which a machine that only measures may lack.
    _SYSTEM_NAMES = ["libCC_Interface.so.1", _FILE]

_PACKAGE = Path(__file__).resolve().parent


def _candidates() -> Iterator[str]:
    """Where the library is looked for, in this order."""
    named = os.environ.get(VARIABLE)
    if named:
        yield named
        return
    beside = _PACKAGE / _FILE
    if beside.exists():
        yield str(beside)
        return
    root = _PACKAGE.parents[1]
    if (root / "CMakeLists.txt").exists() and (root / "include" / "cc_interface.h").exists():
        for preset in ("windows64", "windows32") if WINDOWS else ("release",):
            built = root / "build" / preset / _FILE
            if built.exists():
                yield str(built)
    yield from _SYSTEM_NAMES


def _load(path: str, standard: bool) -> Any:
    if sys.platform == "win32" and standard:
        return ctypes.WinDLL(path)
    return ctypes.CDLL(path)


class Library:
    """The loaded library: each export is an attribute, with argument and result types set."""

    def __init__(self, path: str) -> None:
        self.path = path
        standard = _load(path, True)
        plain = _load(path, False) if WINDOWS else standard
        signatures = SIGNATURES if WINDOWS else {**SIGNATURES, **POSIX_SIGNATURES}
        for name, (result, *arguments) in signatures.items():
            function = (plain if name == "LEV2_MANSOM" else standard)[name]
            function.restype = result
            function.argtypes = arguments
            setattr(self, name, function)

    def __getattr__(self, name: str) -> Callable[..., Any]:
        if name in POSIX_SIGNATURES:
            raise UnsupportedError(f"{name} does not exist on Windows")
        raise AttributeError(f"the library has no export {name}")


_lock = threading.Lock()
_library: Library | None = None


def _find() -> Library:
    tried = []
    for path in _candidates():
        try:
            return Library(path)
        except (OSError, AttributeError) as error:  # not there, not a library, or another library
            tried.append(f"{path}: {error}")
    raise LibraryNotFoundError(
        f"{_FILE} was not found. Install the wheel that carries it, build the project (scripts/build release), or "
        f"set {VARIABLE} to its path. Tried:\n  " + "\n  ".join(tried)
    )


def library() -> Library:
    """The library, loaded on first use. Raises :class:`cc_interface.LibraryNotFoundError`."""
    global _library
    with _lock:
        if _library is None:
            _library = _find()
        return _library
