"""The Python layer on installations of its own. VELQ_LIBRARY names the library, VELQ_LAY_OUT the program that lays out an
empty installation."""

from __future__ import annotations

import gc
import os
import sqlite3
import struct
import subprocess
import tempfile
import unittest
from typing import Callable

import velq


class EngineTest(unittest.TestCase):
    def setUp(self) -> None:
        self.folder = tempfile.TemporaryDirectory()
        self.addCleanup(self.folder.cleanup)
        subprocess.run([os.environ["VELQ_LAY_OUT"], self.folder.name], check=True, stdout=subprocess.DEVNULL)
        self.data = os.path.join(self.folder.name, "Quenlibra", "Tarvolent", "data")

    def start(self, *, kept_open: bool = True) -> velq.Engine:
        engine = velq.Engine(self.folder.name, kept_open=kept_open)
        self.addCleanup(engine.close)
        return engine

    def add_tokens(self, tokens: dict[str, tuple[int, int]]) -> None:
        rows = dict(tokens)
        rows[".MSG_CNT"] = (100, 100)
        with sqlite3.connect(os.path.join(self.data, "prob.bin")) as store:
            for key, (spam, ham) in rows.items():
                store.execute(
                    "INSERT INTO velqTable VALUES(?,?)",
                    (key.encode("utf-16-le"), struct.pack("<III", spam, ham, 0)),
                )
        store.close()

    def test_start_without_an_installation_names_what_is_missing(self) -> None:
        for kept_open in (True, False):
            with self.assertRaises(FileNotFoundError) as caught:
                velq.Engine(os.path.join(self.folder.name, "nowhere"), kept_open=kept_open)
            self.assertIn("nowhere/Quenlibra/Tarvolent/data/prob.bin", str(caught.exception))
            self.assertIn("velq init", str(caught.exception))
        os.remove(os.path.join(self.data, "ru.bin"))
        with self.assertRaises(FileNotFoundError) as caught:
            self.start()
        self.assertEqual(caught.exception.filename, os.path.join(self.data, "ru.bin"))

    def test_an_engine_that_does_not_start_is_an_error_with_its_code(self) -> None:
        long = os.path.join(self.folder.name, *["n" * 200] * 2)
        os.makedirs(long)
        os.rename(os.path.join(self.folder.name, "Quenlibra"), os.path.join(long, "Quenlibra"))
        with self.assertRaises(velq.VelqError) as caught:
            velq.Engine(long, kept_open=False)
        self.assertEqual(caught.exception.code, -2)
        with self.assertRaises(velq.VelqError):  # and not an engine that runs
            velq.Engine(long, kept_open=False)

    def test_a_second_engine_is_refused_and_leaves_the_first_as_it_was(self) -> None:
        with tempfile.TemporaryDirectory() as other:
            subprocess.run([os.environ["VELQ_LAY_OUT"], other], check=True, stdout=subprocess.DEVNULL)
            engine = self.start()
            engine.black_list.add("13812345678")
            for kept_open in (True, False):
                with self.assertRaises(RuntimeError) as caught:
                    velq.Engine(other, kept_open=kept_open)
                self.assertIn(self.folder.name, str(caught.exception))
            self.assertEqual(len(engine.black_list), 1)
            engine.close()
            engine.close()
            with velq.Engine(other) as second:
                self.assertEqual(len(second.black_list), 0)

    def test_an_engine_that_was_dropped_gives_way_to_the_next(self) -> None:
        engine = velq.Engine(self.folder.name)
        engine.black_list.add("13812345678")
        del engine
        gc.collect()
        with velq.Engine(self.folder.name) as next_one:
            self.assertIs(next_one.rate("ok"), velq.Rating.HAM)

    def test_a_list_says_whether_it_holds_a_number(self) -> None:
        engine = self.start()
        engine.black_list.add("+8613812345678")
        engine.black_list.add("10010")
        engine.white_list.add("+447700900555")
        for number in ("13812345678", "+8613812345678", "008613812345678", "10010"):
            self.assertIn(number, engine.black_list)
            self.assertIs(engine.rate("whatever it says", number), velq.Rating.SPAM)
        for number in ("", "3812345678", "110010", "0010", "+447700900555"):
            self.assertNotIn(number, engine.black_list)
            self.assertIsNot(engine.rate("whatever it says", number), velq.Rating.SPAM)
        self.assertIn("447700900555", engine.white_list)
        with self.assertRaises(TypeError):
            10010 in engine.black_list

    def test_zero_characters_are_refused(self) -> None:
        engine = self.start()
        calls: list[Callable[[], object]] = [
            lambda: engine.rate("some\0text"),
            lambda: engine.rate("some text", "138\0"),
            lambda: engine.mark_ham("\0"),
            lambda: engine.mark_spam("some\0text"),
            lambda: engine.black_list.add("138\0"),
            lambda: engine.black_list.add("138", "na\0me"),
            lambda: engine.black_list.remove("138\0"),
            lambda: "138\0" in engine.black_list,
            lambda: engine.white_list.add_many([velq.Entry("138\0")]),
            lambda: engine.update("/no\0file", 1),
        ]
        for call in calls:
            with self.assertRaises(ValueError) as caught:
                call()
            self.assertIn("zero character", str(caught.exception))
        self.assertEqual(len(engine.black_list), 0)

    def test_both_starts_rate(self) -> None:
        for kept_open in (True, False):
            with velq.Engine(self.folder.name, kept_open=kept_open) as engine:
                self.assertIs(engine.rate("some words of some length"), velq.Rating.UNSURE)
                self.assertIs(engine.rate("ok"), velq.Rating.HAM)

    def test_tokens_decide_and_corrections_train(self) -> None:
        self.add_tokens({"free": (60, 1), "prize": (0, 0), "cash": (50, 0), "call": (40, 1), "你好": (0, 50)})
        engine = self.start()
        self.assertIs(engine.rate("free cash call for all of you tonight"), velq.Rating.SPAM)
        engine.mark_ham("free cash call")
        engine.close()
        with sqlite3.connect(os.path.join(self.data, "prob.bin")) as store:
            value = store.execute(
                "SELECT value FROM velqTable WHERE key=?", ("cash".encode("utf-16-le"),)
            ).fetchone()[0]
        store.close()
        self.assertEqual(struct.unpack("<III", value), (50, 1, 0))  # trained as spam, then moved to ham

    def test_lists_hold_text_of_any_script(self) -> None:
        engine = self.start()
        engine.black_list.add("+8613812345678", "张伟 😀", extend_id=7)
        engine.white_list.add("13800001111", hidden=True)
        self.assertEqual(engine.black_list.entries(), [velq.Entry("+8613812345678", "张伟 😀", 7)])
        self.assertEqual(len(engine.black_list), 1)
        self.assertEqual(engine.white_list.entries(hidden=False), [])
        self.assertEqual([entry.number for entry in engine.white_list], ["13800001111"])
        self.assertIs(engine.rate("whatever it says", "13812345678"), velq.Rating.SPAM)
        self.assertIs(engine.rate("whatever it says", "13800001111"), velq.Rating.HAM)

    def test_entries_are_read_and_deleted_by_identifier(self) -> None:
        engine = self.start()
        engine.black_list.add("10010", "Operator")
        (uid,) = engine.black_list.uids()
        self.assertEqual(engine.black_list.read(uid), velq.Entry("10010", "Operator"))
        self.assertIsNone(engine.black_list.read(uid + 1))
        engine.black_list.delete_uid(uid)
        self.assertEqual(len(engine.black_list), 0)

    def test_removals(self) -> None:
        engine = self.start()
        engine.white_list.add_many([velq.Entry(f"1390000000{i}", "n", i % 2) for i in range(6)])
        engine.white_list.remove("13900000000")
        engine.white_list.delete_extend_id(1)
        self.assertEqual([entry.number for entry in engine.white_list], ["13900000002", "13900000004"])
        engine.white_list.clear()
        self.assertEqual(engine.white_list.uids(), [])

    def test_adding_to_one_list_takes_the_number_off_the_other(self) -> None:
        engine = self.start()
        engine.white_list.add("13812345678")
        engine.black_list.add("+8613812345678")
        self.assertEqual(len(engine.white_list), 0)
        engine.mark_ham("hello", "13812345678")
        self.assertEqual(len(engine.black_list), 0)

    def test_refusals_carry_the_engine_s_codes(self) -> None:
        engine = self.start()
        refusals: list[tuple[Callable[[], object], int]] = [
            (lambda: engine.black_list.add("1" * 30), -2),
            (lambda: engine.white_list.add_many([]), -9),
            (lambda: engine.white_list.add_many([velq.Entry("1" * 30)]), -8),
            (lambda: engine.update(), -2),
            (lambda: engine.update("/no/such/file", 2), -2),
        ]
        for call, code in refusals:
            with self.assertRaises(velq.VelqError) as caught:
                call()
            self.assertEqual(caught.exception.code, code)
        engine.close()
        with self.assertRaises(velq.VelqError) as caught:
            engine.rate("text")
        self.assertEqual(caught.exception.code, -1)

    def test_update_merges_and_records_the_version(self) -> None:
        path = os.path.join(self.folder.name, "update.bin")
        with sqlite3.connect(path) as update:
            update.execute("CREATE TABLE diffProbTable(key BLOB, value BLOB)")
            update.execute(
                "INSERT INTO diffProbTable VALUES(?,?)",
                ("cash\0".encode("utf-16-le"), struct.pack("<III", 5, 1, 0)),
            )
        update.close()
        engine = self.start()
        engine.update(path, 9)
        self.assertEqual(engine.version(velq.DataKind.PROBABILITY), 9)
        self.assertEqual(engine.version(velq.DataKind.WHITE_NUMBERS), 1)


if __name__ == "__main__":
    unittest.main()
