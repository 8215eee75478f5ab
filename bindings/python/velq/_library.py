"""The C interfaces of libvelq and libvelqtext through ctypes: loading, record layouts, signatures, wide text."""

from __future__ import annotations

import ctypes
import ctypes.util
import functools
import os
from ctypes import POINTER, Structure, c_int32, c_size_t, c_uint16, c_uint32, c_void_p
from typing import Any, Optional, Sequence

WideText = POINTER(c_uint16)


class NumberRecord(Structure):
    _fields_ = [("number", WideText), ("name", WideText)]


class NumberListNode(Structure):
    pass


NumberListNode._fields_ = [
    ("next", POINTER(NumberListNode)),
    ("name", WideText),
    ("number", WideText),
    ("extend_id", c_int32),
]


class UIDListNode(Structure):
    pass


UIDListNode._fields_ = [("next", POINTER(UIDListNode)), ("uid", c_int32)]


class VersionRecord(Structure):
    _fields_ = [("command", c_int32), ("version", c_int32)]


# Export name -> result type and argument types. {list} stands for Black and White.
_SIGNATURES: dict[str, tuple[Optional[type[c_int32]], Sequence[Any]]] = {
    "VELQ_Initialize": (c_int32, [WideText]),
    "VELQ_Norix_Initialize": (c_int32, [WideText]),
    "VELQ_Finalize": (c_int32, []),
    "VELQ_Norix_Finalize": (c_int32, []),
    "VELQ_CheckSpamMsgSync": (c_int32, [POINTER(c_uint32), WideText, WideText]),
    "VELQ_SetMsgAsHam": (c_int32, [WideText, WideText]),
    "VELQ_SetMsgAsSpam": (c_int32, [WideText]),
    "VELQ_Add{list}NumberSync": (c_int32, [POINTER(NumberRecord), c_int32, c_int32]),
    "VELQ_Remove{list}NumberSync": (c_int32, [POINTER(NumberRecord)]),
    "VELQ_RemoveAll{list}NumberSync": (c_int32, [c_int32]),
    "VELQ_AddWhiteNumberListSync": (c_int32, [POINTER(NumberListNode), c_int32]),
    "VELQ_Get{list}NumberList": (c_int32, [POINTER(POINTER(NumberListNode)), c_int32]),
    "VELQ_Get{list}NumberUIDList": (c_int32, [POINTER(POINTER(UIDListNode)), c_int32]),
    "VELQ_Read{list}NumberByUID": (c_int32, [POINTER(NumberRecord), c_int32]),
    "VELQ_Delete{list}NumberByUID": (c_int32, [c_int32]),
    "VELQ_Delete{list}NumberByExtendID": (c_int32, [c_int32]),
    "VELQ_GetTotalCountOf{list}Number": (c_int32, [POINTER(c_int32)]),
    "VELQ_Free{list}NumberList": (None, [POINTER(NumberListNode)]),
    "VELQ_Free{list}NumberUIDList": (None, [POINTER(UIDListNode)]),
    "VELQ_Free{list}Number": (None, [POINTER(NumberRecord)]),
    "VELQ_GetCurVersion": (c_int32, [POINTER(VersionRecord)]),
    "VELQ_UpdateData": (c_int32, [WideText, c_int32, WideText, c_int32]),
}


def load(path: str | None = None) -> ctypes.CDLL:
    """Loads libvelq: the given file, the one that VELQ_LIBRARY names, or the installed one."""
    name = path or os.environ.get("VELQ_LIBRARY") or ctypes.util.find_library("velq") or "libvelq.so.1"
    library = ctypes.CDLL(name)
    for pattern, (result, arguments) in _SIGNATURES.items():
        for kind in ("Black", "White") if "{list}" in pattern else ("",):
            function = getattr(library, pattern.format(list=kind))
            function.restype = result
            function.argtypes = arguments
    return library


@functools.lru_cache(maxsize=None)
def load_text() -> ctypes.CDLL:
    """Loads libvelqtext: the file that VELQ_TEXT_LIBRARY names, or the installed one."""
    name = os.environ.get("VELQ_TEXT_LIBRARY") or ctypes.util.find_library("velqtext") or "libvelqtext.so.1"
    library = ctypes.CDLL(name)
    library.velq_prepare_text.restype = c_size_t
    library.velq_prepare_text.argtypes = [WideText, WideText, c_size_t]
    return library


def to_wide(text: str) -> ctypes.Array[c_uint16]:
    """Zero-terminated UTF-16 units. A zero character within, which would end the text for the engine, is a ValueError."""
    if "\0" in text:
        raise ValueError(f"the text holds a zero character, at index {text.index(chr(0))}; the engine would not see the rest")
    data = text.encode("utf-16-le", "surrogatepass")
    units = (c_uint16 * (len(data) // 2 + 1))()
    ctypes.memmove(units, data, len(data))
    return units


def as_pointer(units: ctypes.Array[c_uint16]) -> Any:
    return ctypes.cast(units, WideText)


def from_wide(pointer: Any) -> str:
    """The text at a wide pointer; empty for null."""
    address = ctypes.cast(pointer, c_void_p).value
    if not address:
        return ""
    length = 0
    while pointer[length] != 0:
        length += 1
    return ctypes.string_at(address, 2 * length).decode("utf-16-le", "replace")
