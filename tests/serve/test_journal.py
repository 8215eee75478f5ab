"""The journal: what it keeps, what goes, and a disk that is full."""

import os
import resource
import signal
import sqlite3
import stat
import time
import unittest

from service import HAM, SPAM, UNSURE, Receiver, ServiceTest, kannel_target, velq


class JournalTest(ServiceTest):
    def setUp(self):
        super().setUp()
        self.journal = self.folder / "journal.db"

    def rows(self, what="*", rest=""):
        with sqlite3.connect(self.journal) as file:
            return file.execute(f"SELECT {what} FROM message {rest}").fetchall()

    def test_without_being_asked_for_nothing_is_kept(self):
        service = self.start()
        service.post("/v1/rate", {"body": SPAM})
        answer = service.get("/v1/journal")
        self.assertEqual((answer.status, answer.json["type"]), (404, "urn:velq:not-found"))
        self.assertFalse(self.journal.exists())

    def test_it_keeps_what_was_rated(self):
        service = self.start("--journal", self.journal)
        ids = [service.post("/v1/rate", {"body": text, "number": "+4512345678"}).json["message"]
               for text in (SPAM, HAM, UNSURE)]
        service.post("/v1/explain", {"body": SPAM})
        page = service.get("/v1/journal").json
        self.assertEqual([message["message"] for message in page["messages"]], ids[::-1])
        newest = page["messages"][0]
        self.assertEqual((newest["body"], newest["number"], newest["rating"]), (UNSURE, "+4512345678", "unsure"))
        only = service.get("/v1/journal?rating=spam").json["messages"]
        self.assertEqual([message["body"] for message in only], [SPAM])
        self.assertEqual(stat.S_IMODE(os.stat(self.journal).st_mode), 0o600)
        for target in ("?rating=x", "?limit=0", "?limit=501", "?before=0", "?x=1"):
            self.assertEqual(service.get("/v1/journal" + target).status, 400, target)

    def test_pages_together_are_the_journal(self):
        service = self.start("--journal", self.journal)
        service.post("/v1/rate", [{"body": f"message number {i}"} for i in range(25)])
        seen, before = [], ""
        while before is not None:
            page = service.get("/v1/journal?limit=10" + (f"&before={before}" if before else "")).json
            seen += [message["body"] for message in page["messages"]]
            before = page["next"]
        self.assertEqual(seen, [f"message number {i}" for i in range(24, -1, -1)])

    def test_each_message_is_corrected_and_taken_back_by_itself(self):
        service = self.start("--journal", self.journal)
        first, second = (service.post("/v1/rate", {"body": text}).json["message"] for text in (SPAM, UNSURE))
        before = self.counts()
        self.assertEqual(service.post("/v1/mark", {"as": "ham", "message": first}).json,
                         {"marked": 1, "as": "ham", "message": first})
        service.post("/v1/mark", {"as": "spam", "message": second})
        service.post("/v1/mark", {"as": "ham", "message": second})  # changed their mind
        self.assertEqual([message["correction"] for message in service.get("/v1/journal").json["messages"]],
                         ["ham", "ham"])
        self.assertEqual(service.post("/v1/mark", {"undo": True, "message": first}).status, 200)
        self.assertEqual(service.post("/v1/mark", {"undo": True, "message": second}).status, 200)
        self.assertEqual(self.counts(), before)
        self.assertEqual(service.post("/v1/mark", {"undo": True, "message": second}).status, 404)
        self.assertEqual(service.post("/v1/mark", {"as": "ham", "message": 999}).status, 404)
        self.assertEqual(self.rows("correction, changes"), [("", ""), ("", "")])

    def test_old_messages_go_by_count_and_by_age(self):
        service = self.start("--journal", self.journal, "--keep-messages", 5)
        service.post("/v1/rate", [{"body": f"message number {i}"} for i in range(600)])
        self.assertLess(len(self.rows("id")), 300)
        service.stop()
        with sqlite3.connect(self.journal) as file:
            file.execute("UPDATE message SET time = ? WHERE id = (SELECT MAX(id) - 1 FROM message)",
                         (int((time.time() - 3 * 86400) * 1000),))
        service = self.start("--journal", self.journal, "--keep-messages", 5, "--keep-days", 2)
        self.assertEqual(self.rows("text"), [(f"message number {i}",) for i in (594, 595, 596, 597, 599)])
        self.assertEqual(service.post("/v1/rate", {"body": "x"}).json["message"], 601)

    def test_what_goes_is_gone_from_the_file(self):
        service = self.start("--journal", self.journal, "--keep-messages", 1)
        service.post("/v1/rate", {"body": "sesame sesame"})
        service.post("/v1/rate", [{"body": "x"}] * 600)
        service.stop()
        self.assertNotIn(b"sesame", self.journal.read_bytes())

    def test_another_file_is_left_alone(self):
        for name in ("prob.bin", "bn.bin"):
            before = self.data(name).read_bytes()
            self.assertIn("not a journal", velq("serve", "--install", self.install, "--journal", self.data(name),
                                                status=65))
            self.assertEqual(self.data(name).read_bytes(), before)
        self.journal.write_text("no database, but a text that is long enough to be taken for one" * 20)
        velq("serve", "--install", self.install, "--journal", self.journal, status=65)
        velq("serve", "--install", self.install, "--journal", self.folder / "none/journal.db", status=73)

    def full(self, *options):
        """A service whose files cannot grow: the journal is larger already than what it may write."""
        service = self.start("--journal", self.journal)
        service.post("/v1/rate", [{"body": "filling " * 100} for _ in range(60)])
        service.stop()
        self.assertGreater(self.journal.stat().st_size, 65536)
        limit = 65536
        signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
        return self.start("--journal", self.journal, *options, restore_signals=False,
                          preexec=lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (limit, limit)))

    def test_a_full_disk_under_the_journal_stops_no_rating(self):
        service = self.full()
        ratings = [service.post("/v1/rate", {"body": text + " again" * 300}) for text in (SPAM, HAM) for _ in range(40)]
        self.assertEqual({answer.status for answer in ratings}, {200})
        self.assertGreater(service.metric("velq_journal_failures_total"), 0)
        self.assertTrue(any("message" not in answer.json for answer in ratings))
        self.assertNotIn("again", service.err())

    def test_spam_that_the_journal_does_not_take_goes_on(self):
        receiver = Receiver()
        self.addCleanup(receiver.stop)
        service = self.full("--forward", receiver.url)
        for i in range(40):
            answer = service.get(kannel_target(str(i), SPAM + " again" * 300))
            self.assertEqual((answer.status, answer.headers["X-Velq-Verdict"]), (200, "spam"))
        held = {number for (number,) in self.rows("number", "WHERE source = 'kannel'")}
        taken = {path.split("from=")[1].split("&")[0] for _, path, _, _ in receiver.taken}
        self.assertEqual(held | taken, {str(i) for i in range(40)})
        self.assertTrue(taken)


if __name__ == "__main__":
    unittest.main()
