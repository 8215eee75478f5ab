"""A disk without room under the store and the journal: answers are verdicts or failures, and nothing is lost."""

import resource
import signal
import sqlite3
import unittest

from service import HAM, SPAM, ServiceTest, velq

ROOM = 48 << 10  # what a file may have on a disk that is full by then


class FullDisk(ServiceTest):
    """Files that grow beyond a bound are to a program what a full disk is, whoever the user and wherever the file."""

    def setUp(self):
        super().setUp()
        signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
        self.journal = self.folder / "journal.db"

    def lay_out(self, mode):
        self.install = self.folder / mode
        velq("init", "--quiet", self.install, "--store", self.folder / "prob.bin", "--journal", mode)

    def serve(self, *options):
        return self.start(*options, restore_signals=False)  # so that the signal stays ignored

    def fill_disk(self, service, room=512):
        resource.prlimit(service.process.pid, resource.RLIMIT_FSIZE, (room, resource.RLIM_INFINITY))

    def free_disk(self, service):
        self.fill_disk(service, resource.RLIM_INFINITY)

    def fill_log(self, service):
        """Trains until the store's write-ahead log is as long as a file may be."""
        wal = self.data("prob.bin-wal")
        while wal.stat().st_size < ROOM:
            self.assertEqual(service.post("/v1/rate", [{"body": SPAM}] * 20).status, 200)
        self.fill_disk(service, ROOM)

    def check_refusals(self, service):
        """What writes fails, and the data stay as they are."""
        before = self.counts()
        for verdict, text in (("spam", HAM), ("ham", SPAM)):
            answer = service.post("/v1/mark", {"as": verdict, "body": text})
            self.assertEqual((answer.status, answer.json["type"]), (500, "urn:velq:failed"))
            self.assertIn("check the space left", answer.json["detail"])
        answer = service.get("/healthz")
        self.assertEqual((answer.status, answer.json["type"]), (503, "urn:velq:not-working"))
        self.assertEqual(self.counts(), before)

    def check_verdicts(self, service):
        """They are those of a disk with room, and nothing is learned."""
        before = self.counts()
        for text, verdict in ((SPAM, "spam"), (HAM, "ham")):
            self.assertEqual(service.post("/v1/rate", {"body": text}).json["rating"], verdict)
        self.assertEqual([answer["rating"] for answer in service.post("/v1/rate", [{"body": SPAM}] * 3).json],
                         ["spam"] * 3)
        self.assertEqual(service.get("/v1/lists/black").json["count"], 1)
        self.assertEqual(service.post("/v1/rate", {"body": HAM, "number": "123456"}).json["reason"], "black-list")
        self.assertEqual(self.counts(), before)

    def test_under_the_store_verdicts_go_on_and_changes_fail(self):
        for mode in ("delete", "wal"):
            with self.subTest(mode):
                self.lay_out(mode)
                service = self.serve()
                service.post("/v1/lists/black", {"number": "123456"})
                if mode == "wal":
                    self.fill_log(service)
                else:
                    self.fill_disk(service)
                self.check_verdicts(service)
                self.check_refusals(service)
                self.free_disk(service)
                self.assertEqual(service.get("/healthz").status, 200)
                before = self.counts()
                self.assertEqual(service.post("/v1/mark", {"as": "spam", "body": HAM}).status, 200)
                self.assertNotEqual(self.counts(), before)
                self.assertEqual(service.post("/v1/mark", {"undo": True}).status, 200)
                self.assertEqual(self.counts(), before)
                self.assertEqual(service.stop(), 0)

    def test_lists_and_updates_fail_and_stay_as_they_were(self):
        service = self.serve()
        service.post("/v1/lists/black", b"number\n123456\n234567\n", "text/csv")
        new = self.folder / "new.txt"
        new.write_text(self.counts().replace("priz\t90\t1", "priz\t95\t1"), encoding="utf-8")
        velq("store", "diff", "--quiet", self.data("prob.bin"), new, "-o", self.folder / "words.upd")
        update = (self.folder / "words.upd").read_bytes()
        lists = [service.get("/v1/lists/" + name).json for name in ("black", "white")]
        before = self.counts()
        self.fill_disk(service)
        for answer in (service.post("/v1/lists/black", {"number": "345678"}),
                       service.post("/v1/lists/white", {"number": "345678"}),
                       service.post("/v1/lists/black", b"number\n345678\n456789\n", "text/csv"),
                       service.request("DELETE", "/v1/lists/black?number=123456"),
                       service.request("DELETE", "/v1/lists/black?all=true"),
                       service.post("/v1/updates?kind=probability&version=7", update, "application/octet-stream")):
            self.assertEqual((answer.status, answer.json["type"]), (500, "urn:velq:failed"), answer.json)
        self.assertEqual([service.get("/v1/lists/" + name).json for name in ("black", "white")], lists)
        self.assertEqual(self.counts(), before)
        self.free_disk(service)
        answer = service.post("/v1/updates?kind=probability&version=8", update, "application/octet-stream")
        self.assertEqual(answer.status, 200, answer.json)
        self.assertIn("priz\t95\t1", self.counts())

    def test_a_correction_is_in_the_store_and_the_journal_or_in_neither(self):
        service = self.serve("--journal", self.journal)
        message = service.post("/v1/rate", {"body": SPAM}).json["message"]
        service.post("/v1/mark", {"as": "ham", "message": message})
        service.post("/v1/rate", [{"body": "filling " * 100} for _ in range(100)])
        before = self.counts(), service.get("/v1/journal?limit=500").json
        # The journal's log cannot grow any more; there is room for what the store writes.
        log = (self.folder / "journal.db-wal").stat().st_size
        self.assertGreater(log, 2 * self.data("prob.bin").stat().st_size)
        self.fill_disk(service, log)
        for order in ({"as": "ham", "message": message}, {"as": "spam", "message": message},
                      {"undo": True, "message": message}):
            answer = service.post("/v1/mark", order)
            self.assertEqual((answer.status, answer.json["type"]), (500, "urn:velq:failed"), answer.json)
            self.assertEqual((self.counts(), service.get("/v1/journal?limit=500").json), before)
        self.assertEqual(service.metric('velq_corrections_total{kind="ham"}'), 1)
        self.free_disk(service)
        self.assertEqual(service.post("/v1/mark", {"undo": True, "message": message}).status, 200)

    def test_a_correction_that_cannot_be_taken_back_can_be_later(self):
        service = self.serve()
        before = self.counts()
        service.post("/v1/mark", {"as": "spam", "body": HAM})
        marked = self.counts()
        self.fill_disk(service, 1024)
        self.assertEqual(service.post("/v1/mark", {"undo": True}).status, 500)
        self.assertEqual(self.counts(), marked)
        self.free_disk(service)
        self.assertEqual(service.post("/v1/mark", {"undo": True}).status, 200)
        self.assertEqual(self.counts(), before)

    def test_the_service_starts_though_old_messages_cannot_go(self):
        service = self.serve("--journal", self.journal)
        service.post("/v1/rate", [{"body": "filling " * 100} for _ in range(100)])
        service.stop()
        with sqlite3.connect(self.journal) as file:
            file.execute("UPDATE message SET time = 0")
        service = self.start("--journal", self.journal, restore_signals=False,
                             preexec=lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (ROOM, resource.RLIM_INFINITY)))
        self.assertEqual(service.post("/v1/rate", {"body": SPAM}).json["rating"], "spam")
        self.assertEqual(service.stop(), 0)


if __name__ == "__main__":
    unittest.main()
