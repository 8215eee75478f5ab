"""velq: rate short messages as spam, ham or unsure, from Python.

A thin layer over the installed libvelq. There is one engine per process::

    import velq

    with velq.Engine("/opt/host") as engine:
        if engine.rate("You have won a prize, call now", "+447700900555") is velq.Rating.SPAM:
            engine.black_list.add("+447700900555", name="prize caller")

Rating and the two corrections must not run at the same time on several threads. A text with a zero character, which would
end it for the engine, raises ValueError.
"""

from __future__ import annotations

import ctypes
import enum
import errno
import os
import threading
import weakref
from dataclasses import dataclass
from typing import Any, Iterable, Iterator

from . import _library
from ._library import as_pointer, from_wide, to_wide

__all__ = ["DataKind", "Engine", "Entry", "NumberList", "Rating", "VelqError", "WhiteList", "prepare"]
__version__ = "1.0.0"

_ANY = -1


class Rating(enum.IntEnum):
    """What the engine says of a message."""

    SPAM = 0
    HAM = 1
    UNSURE = 2


class DataKind(enum.IntEnum):
    """Kinds of data that have a version."""

    PROBABILITY = 0
    WHITE_NUMBERS = 1
    RULES = 2


_MEANINGS = {
    -1: "the engine is not started",
    -2: "bad argument or failed operation; the log in the program directory tells which",
    -4: "a data update is running",
    -6: "the data file is full",
    -8: "the batch could not be stored",
    -9: "the batch is empty or its hidden flag is wrong",
}


class VelqError(RuntimeError):
    """A call that the engine refused or could not carry out; `code` is the engine's result code."""

    def __init__(self, call: str, code: int) -> None:
        super().__init__(f"{call}: {_MEANINGS.get(code, 'unknown result')} ({code})")
        self.code = code


def prepare(text: str) -> str:
    """The text in the form that the engine reads best: libvelqtext says what changes. Needs no engine."""
    function = _library.load_text().velq_prepare_text
    body = to_wide(text)
    needed = function(body, None, 0)
    prepared = (ctypes.c_uint16 * needed)()
    function(body, prepared, needed)
    return from_wide(prepared)


def _check(call: str, code: int) -> None:
    if code != 0:
        raise VelqError(call, code)


@dataclass(frozen=True)
class Entry:
    """One entry of a number list."""

    number: str
    name: str = ""
    extend_id: int = 0


_COMPARED_CHARACTERS = 11
_LONGEST_NUMBER = 39


def _match_key(number: str) -> bytes:
    """What decides whether two numbers match: the low bytes of the last 11 units. Empty for what matches nothing."""
    data = number.encode("utf-16-le", "surrogatepass")
    return data[: 2 * _LONGEST_NUMBER : 2].split(b"\0")[0][-_COMPARED_CHARACTERS:]


def _filter(hidden: bool | None) -> int:
    return _ANY if hidden is None else int(hidden)


class NumberList:
    """The black or the white list. Numbers match when their last 11 characters agree."""

    def __init__(self, engine: Engine, kind: str) -> None:
        self._engine = engine
        self._kind = kind

    def _call(self, pattern: str, *arguments: object) -> None:
        name = pattern.format(list=self._kind)
        _check(name, self._engine._function(name)(*arguments))

    def _free(self, pattern: str, pointer: object) -> None:
        self._engine._function(pattern.format(list=self._kind))(pointer)

    def add(self, number: str, name: str = "", *, hidden: bool = False, extend_id: int = 0) -> None:
        """Adds a number after taking it off the other list; a listed number stays as it is."""
        number_units, name_units = to_wide(number), to_wide(name)
        record = _library.NumberRecord(as_pointer(number_units), as_pointer(name_units))
        self._call("VELQ_Add{list}NumberSync", ctypes.byref(record), int(hidden), extend_id)

    def remove(self, number: str) -> None:
        """Removes every entry that matches the number."""
        units = to_wide(number)
        record = _library.NumberRecord(as_pointer(units), None)
        self._call("VELQ_Remove{list}NumberSync", ctypes.byref(record))

    def clear(self, hidden: bool | None = None) -> None:
        """Removes all entries, or those with one value of the hidden flag."""
        self._call("VELQ_RemoveAll{list}NumberSync", _filter(hidden))

    def delete_uid(self, uid: int) -> None:
        self._call("VELQ_Delete{list}NumberByUID", uid)

    def delete_extend_id(self, extend_id: int) -> None:
        self._call("VELQ_Delete{list}NumberByExtendID", extend_id)

    def entries(self, hidden: bool | None = None) -> list[Entry]:
        head = ctypes.POINTER(_library.NumberListNode)()
        self._call("VELQ_Get{list}NumberList", ctypes.byref(head), _filter(hidden))
        result = []
        node = head
        while node:
            item = node.contents
            result.append(Entry(from_wide(item.number), from_wide(item.name), item.extend_id))
            node = item.next
        self._free("VELQ_Free{list}NumberList", head)
        return result

    def uids(self, hidden: bool | None = None) -> list[int]:
        head = ctypes.POINTER(_library.UIDListNode)()
        self._call("VELQ_Get{list}NumberUIDList", ctypes.byref(head), _filter(hidden))
        result = []
        node = head
        while node:
            result.append(node.contents.uid)
            node = node.contents.next
        self._free("VELQ_Free{list}NumberUIDList", head)
        return result

    def read(self, uid: int) -> Entry | None:
        """The entry with an identifier, without its extend id; None where there is none."""
        record = _library.NumberRecord()
        self._call("VELQ_Read{list}NumberByUID", ctypes.byref(record), uid)
        if not record.number:
            return None
        entry = Entry(from_wide(record.number), from_wide(record.name))
        self._free("VELQ_Free{list}Number", ctypes.byref(record))
        return entry

    def __len__(self) -> int:
        count = ctypes.c_int32()
        self._call("VELQ_GetTotalCountOf{list}Number", ctypes.byref(count))
        return count.value

    def __iter__(self) -> Iterator[Entry]:
        return iter(self.entries())

    def __contains__(self, number: object) -> bool:
        """Whether a sender of this number is on the list. Reads the whole list."""
        if not isinstance(number, str):
            raise TypeError(f"a number is a str, not {type(number).__name__}")
        to_wide(number)
        key = _match_key(number)
        return key != b"" and any(_match_key(entry.number) == key for entry in self.entries())


class WhiteList(NumberList):
    """The white list, which also takes whole batches."""

    def add_many(self, entries: Iterable[Entry], *, hidden: bool = False) -> None:
        """Adds all entries or none; nothing is compared with what the list holds."""
        items = [(to_wide(entry.number), to_wide(entry.name), entry.extend_id) for entry in entries]
        nodes = (_library.NumberListNode * max(len(items), 1))()
        for index, (number, name, extend_id) in enumerate(items):
            nodes[index].number = as_pointer(number)
            nodes[index].name = as_pointer(name)
            nodes[index].extend_id = extend_id
            if index + 1 < len(items):
                nodes[index].next = ctypes.pointer(nodes[index + 1])
        head = ctypes.pointer(nodes[0]) if items else None
        self._call("VELQ_AddWhiteNumberListSync", head, int(hidden))


_DATA_FILES = ("prob.bin", "bn.bin", "wn.bin", "ru.bin", "ver.bin")
_start = threading.RLock()  # the garbage collector may stop a dropped engine at any place
_started: str | None = None  # the folder of the engine that runs


def _check_installation(program: str) -> None:
    for name in _DATA_FILES:
        path = os.path.join(program, "data", name)
        if not os.path.exists(path):
            raise FileNotFoundError(errno.ENOENT, "no installation of the engine (velq init lays one out)", path)


def _stop(finalize: Any) -> None:
    global _started
    with _start:
        finalize()
        _started = None


class Engine:
    """The engine on one installation: a folder that holds Quenlibra/Tarvolent/data. One per process."""

    def __init__(self, directory: str | os.PathLike[str], *, kept_open: bool = True, library: str | None = None) -> None:
        """Starts the engine. `kept_open` keeps the data files open, so that rating opens none.

        FileNotFoundError when there is no installation; RuntimeError while another engine of this process runs, since
        the two would be one, on the first one's installation.
        """
        global _started
        self._library = _library.load(library)
        folder = os.fspath(directory)
        program = os.path.join(folder, "Quenlibra")
        _check_installation(os.path.join(program, "Tarvolent"))
        start = to_wide(program + "\\Tarvolent")
        variant = "Norix_" if kept_open else ""
        with _start:
            if _started is not None:
                raise RuntimeError(f"an engine of this process runs on {_started}; close it before starting another")
            _check(f"VELQ_{variant}Initialize", self._function(f"VELQ_{variant}Initialize")(start))
            _started = folder
        # Also stops an engine that was dropped without close().
        self._finalizer = weakref.finalize(self, _stop, self._function(f"VELQ_{variant}Finalize"))
        self.black_list = NumberList(self, "Black")
        self.white_list = WhiteList(self, "White")

    def _function(self, name: str) -> Any:
        return getattr(self._library, name)

    def rate(self, body: str, number: str = "") -> Rating:
        """Rates a message. Confident verdicts train the token store."""
        rating = ctypes.c_uint32()
        code = self._library.VELQ_CheckSpamMsgSync(ctypes.byref(rating), to_wide(body), to_wide(number))
        _check("VELQ_CheckSpamMsgSync", code)
        return Rating(rating.value)

    def mark_ham(self, body: str, number: str = "") -> None:
        """The user says that a message is wanted; also takes the sender off the black list."""
        _check("VELQ_SetMsgAsHam", self._library.VELQ_SetMsgAsHam(to_wide(body), to_wide(number)))

    def mark_spam(self, body: str) -> None:
        """The user says that a message is spam; the lists stay as they are."""
        _check("VELQ_SetMsgAsSpam", self._library.VELQ_SetMsgAsSpam(to_wide(body)))

    def version(self, kind: DataKind) -> int:
        """The installed version of one kind of data; 0 when none is recorded."""
        record = _library.VersionRecord(int(kind), 0)
        _check("VELQ_GetCurVersion", self._library.VELQ_GetCurVersion(ctypes.byref(record)))
        return int(record.version)

    def update(
        self,
        probability: str | os.PathLike[str] | None = None,
        probability_version: int = 0,
        white_numbers: str | os.PathLike[str] | None = None,
        white_numbers_version: int = 0,
    ) -> None:
        """Merges update files and records their versions."""
        paths = [None if path is None else to_wide(os.fspath(path)) for path in (probability, white_numbers)]
        code = self._library.VELQ_UpdateData(paths[0], probability_version, paths[1], white_numbers_version)
        _check("VELQ_UpdateData", code)

    def close(self) -> None:
        """Stops the engine; a second call does nothing."""
        self._finalizer()

    def __enter__(self) -> Engine:
        return self

    def __exit__(self, *_: object) -> None:
        self.close()
