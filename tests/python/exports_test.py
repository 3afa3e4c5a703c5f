"""The package against the C headers and the table of exports: nothing is forgotten, nothing has another width."""

from __future__ import annotations

import ctypes
import enum
import re
from ctypes import POINTER, c_char_p, c_double, c_int, c_int16, c_uint16, c_uint32, c_void_p
from pathlib import Path

import pytest

from cc_interface import constants, exports, library

ROOT = Path(__file__).resolve().parents[2]
HEADERS = [(ROOT / "include" / name).read_text() for name in ("cc_interface.h", "cc_interface_posix.h")]

RESULTS = {"int16_t": c_int16, "uint16_t": c_uint16, "int": c_int, "void": None}
ARGUMENTS = {
    "int16_t": exports.int16,
    "uint16_t": exports.uint16,
    "uint32_t": exports.uint32,
    "uint8_t": exports.uint8,
    "uintptr_t": exports.uintptr,
    "int": exports.integer,
    "double": c_double,
    "const double*": POINTER(c_double),
    "double*": POINTER(c_double),
    "uint16_t*": POINTER(c_uint16),
    "const uint32_t*": POINTER(c_uint32),
    "void*": c_void_p,
    "const void*": c_void_p,
    "const char*": c_char_p,
    "CC_NOTIFY": exports.notify_or_null,
    "CC_LinkStatistics*": POINTER(exports.LinkStatisticsRecord),
    "CC_LinkFrame*": POINTER(exports.LinkFrameRecord),
}


def code(header: str) -> str:
    return re.sub(r"/\*.*?\*/", "", header, flags=re.S)


def declared(header: str) -> dict[str, tuple[object, ...]]:
    found: dict[str, tuple[object, ...]] = {}
    for result, name, arguments in re.findall(
        r"CC_API (\w+) (?:CC_CALL |CC_CDECL )?(\w+)\((.*?)\);", code(header), re.S
    ):
        if name == "CC_SET_MESSAGE_BOX":
            found[name] = (None, exports.show_box_or_null, c_void_p)
            continue
        kinds = (
            []
            if arguments == "void"
            else [re.sub(r"\s*(\*?)\w+$", r"\1", a.strip()) for a in arguments.split(",")]
        )
        found[name] = (RESULTS[result], *(ARGUMENTS[kind] for kind in kinds))
    return found


def test_signatures_are_those_of_the_headers() -> None:
    assert exports.SIGNATURES == declared(HEADERS[0])
    assert exports.POSIX_SIGNATURES == declared(HEADERS[1])
    for name in {**exports.SIGNATURES, **exports.POSIX_SIGNATURES}:
        assert callable(getattr(library(), name))


def test_the_page_names_every_export() -> None:
    page = (ROOT / "docs" / "python.md").read_text()
    exported = {**exports.SIGNATURES, **exports.POSIX_SIGNATURES}
    assert [name for name in exported if name.startswith(("CC_", "L2S_")) and f"`{name}`" not in page] == []


def test_argument_bytes_are_those_of_the_table() -> None:
    """On 32-bit Windows: every argument takes whole words of four bytes, a pointer one."""
    pointers = (c_char_p, c_void_p, exports.notify_or_null)
    for line in (ROOT / "src" / "exports.txt").read_text().splitlines():
        name, size = line.split()
        if size == "posix":
            assert name in exports.POSIX_SIGNATURES
        elif size == "cdecl":
            assert name == "LEV2_MANSOM" and name in exports.SIGNATURES
        else:
            total = 0
            for kind in exports.SIGNATURES[name][1:]:
                pointer = kind in pointers or hasattr(kind, "contents") or kind is exports.uintptr
                total += 4 if pointer else (ctypes.sizeof(kind) + 3) // 4 * 4
            assert total == int(size), name


def test_constants_are_those_of_the_header() -> None:
    words = {}
    for body in re.findall(r"enum \{(.*?)\}", code(HEADERS[0]), re.S):
        words.update({name: int(value) for name, value in re.findall(r"(CC_\w+) = (-?\d+)", body)})
    members = [
        member
        for kind in vars(constants).values()
        if isinstance(kind, type) and issubclass(kind, enum.IntEnum | enum.IntFlag)
        for member in kind
    ]
    assert len(members) == len(words)
    for name, value in words.items():
        assert any(name.endswith("_" + member.name) and member == value for member in members), name


def test_records_have_the_sizes_of_the_header() -> None:
    sizes = {"ControllerInfoRecord": 48, "PointRecord": 80, "LinkStatisticsRecord": 52, "LinkFrameRecord": 16}
    for name, size in {**sizes, "StoredInfoRecord": 10}.items():
        assert ctypes.sizeof(getattr(exports, name)) == size


@pytest.mark.parametrize(
    "name, arguments",
    [("CC_FEED", (1, 32768)), ("CC_FEED", (1, -32769)), ("CC_MOVE", (1, 0, None, -1, 0, None, None, 0))],
)
def test_integers_beyond_their_width_are_refused(name: str, arguments: tuple[object, ...]) -> None:
    with pytest.raises(ctypes.ArgumentError, match="is not between"):
        getattr(library(), name)(*arguments)
