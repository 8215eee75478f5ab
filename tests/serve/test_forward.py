"""The service between a gateway and a receiver: every message is somewhere."""

import http.client
import random
import socket
import sqlite3
import threading
import time
import unittest

from service import HAM, LONGEST, SPAM, UNSURE, Receiver, ServiceTest, kannel_target, velq, wait_until


class Forwarding(ServiceTest):
    def setUp(self):
        super().setUp()
        self.journal = self.folder / "journal.db"

    def receiver(self, **more):
        receiver = Receiver(**more)
        self.addCleanup(receiver.stop)
        return receiver

    def serve(self, receiver, *options, **more):
        return self.start("--journal", self.journal, "--forward", receiver.url, *options, **more)

    def test_it_needs_a_journal_and_an_address(self):
        velq("serve", "--install", self.install, "--forward", "http://127.0.0.1:9/", status=64)
        velq("serve", "--install", self.install, "--journal", self.journal, "--forward", "ftp://x/", status=64)

    def test_what_is_no_spam_goes_on_unchanged(self):
        receiver = self.receiver()
        service = self.serve(receiver)
        for text, verdict in ((HAM, "ham"), (UNSURE, "unsure")):
            target = kannel_target("+4512345678", text, charset="UTF-8", coding="0", to="99")
            answer = service.get(target, headers={"X-Other": "a", "X-Velq-Verdict": "spam", "Authorization": "Basic eDp5"})
            self.assertEqual((answer.status, answer.body, answer.headers["X-Velq-Verdict"]), (200, b"taken", verdict))
            method, path, headers, body = receiver.taken[-1]
            self.assertEqual((method, path, body), ("GET", "/sms?" + target.split("?")[1], b""))
            self.assertEqual((headers["X-Velq-Verdict"], headers["x-other"]), (verdict, "a"))
            self.assertNotIn("authorization", {name.lower() for name in headers})

    def test_a_json_body_goes_on_unchanged(self):
        receiver = self.receiver()
        service = self.serve(receiver)
        body = b'{ "text":"' + HAM.encode() + b'",\n"number" : "1", "more": [1, 2.50] }'
        self.assertEqual(service.post("/hook/json?a=b", body, "application/json").body, b"taken")
        method, path, headers, taken = receiver.taken[0]
        self.assertEqual((method, path, taken), ("POST", "/sms?a=b", body))
        self.assertEqual(headers["content-type"], "application/json")

    def test_spam_is_taken_and_kept(self):
        receiver = self.receiver()
        service = self.serve(receiver)
        answer = service.get(kannel_target("+4512345678", SPAM))
        self.assertEqual((answer.status, answer.body, answer.headers["X-Velq-Verdict"]), (200, b"", "spam"))
        held = service.get("/v1/journal?rating=spam").json["messages"]
        self.assertEqual([(message["body"], message["number"], message["source"]) for message in held],
                         [(SPAM, "+4512345678", "kannel")])
        self.assertEqual(receiver.taken, [])

    def test_what_cannot_be_rated_goes_on_all_the_same(self):
        receiver = self.receiver()
        service = self.serve(receiver)
        held = self.lock()
        self.assertEqual(service.get(kannel_target("1", SPAM)).headers["X-Velq-Verdict"], "failed")
        held.execute("ROLLBACK")
        service.get(kannel_target("1", SPAM, charset="EBCDIC"))
        service.post("/hook/json", {"other": 1})
        self.assertEqual([headers["X-Velq-Verdict"] for _, _, headers, _ in receiver.taken], ["failed"] * 3)
        self.assertEqual(service.metric('velq_forwarded_total{verdict="failed",outcome="taken"}'), 3)

    def test_a_receiver_that_is_down_is_said_and_the_repeat_not_rated_again(self):
        receiver = Receiver()
        service = self.serve(receiver)
        receiver.stop()
        target = kannel_target("1", HAM)
        rated = 'velq_ratings_total{verdict="ham",reason="classifier"}'
        for _ in range(5):
            answer = service.get(target)
            self.assertEqual((answer.status, answer.json["type"]), (502, "urn:velq:receiver-failed"))
        self.assertEqual(service.metric(rated), 1)
        self.receiver(port=receiver.port)
        self.assertEqual(service.get(target).status, 200)
        self.assertEqual(service.metric(rated), 1)
        self.assertEqual(service.get(target).status, 200)  # sent anew, now that it was taken
        self.assertEqual(service.metric(rated), 2)

    def test_what_the_receiver_says_is_passed_on(self):
        receiver = self.receiver(status=429)
        answer = self.serve(receiver).get(kannel_target("1", HAM))
        self.assertEqual((answer.status, answer.body), (429, b"taken"))

    def test_a_receiver_that_does_not_answer_is_given_up(self):
        with socket.create_server(("127.0.0.1", 0)) as silent:
            service = self.start("--journal", self.journal, "--forward",
                                 f"http://127.0.0.1:{silent.getsockname()[1]}/", "--forward-seconds", 1)
            self.assertEqual(service.get(kannel_target("1", HAM)).status, 502)
            self.assertEqual(service.post("/v1/rate", {"body": HAM}).status, 200)

    def test_the_end_does_not_wait_for_a_receiver_for_ever(self):
        with socket.create_server(("127.0.0.1", 0)) as silent:
            service = self.start("--journal", self.journal, "--forward",
                                 f"http://127.0.0.1:{silent.getsockname()[1]}/", "--forward-seconds", 3600)
            statuses = []

            def send():
                try:
                    statuses.append(service.get(kannel_target("1", HAM)).status)
                except (OSError, http.client.HTTPException):
                    statuses.append(None)  # the gateway sends it again, too
            thread = threading.Thread(target=send)
            thread.start()
            wait_until(lambda: service.metric("velq_forwarding") == 1, "the message did not go on")
            self.assertEqual(service.stop(), 0)
            thread.join()
            self.assertIn(statuses[0], (502, 503, None))

    def test_kills_under_load_lose_no_message(self):
        receiver = self.receiver()
        service = self.serve(receiver)
        port = service.port
        total, senders = 240, 6
        messages = [str(10000 + i) for i in range(total)]
        waiting = list(messages)
        lock = threading.Lock()
        acknowledged = []

        def send():
            """A gateway: repeats until it is told that a message was taken."""
            while True:
                with lock:
                    if not waiting:
                        return
                    number = waiting.pop()
                target = kannel_target(number, SPAM if int(number) % 2 else HAM)
                end = time.monotonic() + LONGEST
                while time.monotonic() < end:
                    try:
                        connection = http.client.HTTPConnection("127.0.0.1", port, timeout=LONGEST)
                        connection.request("GET", target)
                        answer = connection.getresponse()
                        answer.read()
                        connection.close()
                        if answer.status == 200:
                            with lock:
                                acknowledged.append(number)
                            break
                    except (OSError, http.client.HTTPException):
                        pass
                    time.sleep(0.02)

        threads = [threading.Thread(target=send) for _ in range(senders)]
        for thread in threads:
            thread.start()
        generator = random.Random(1)
        kills = 0
        while any(thread.is_alive() for thread in threads) and kills < 12:
            with lock:
                done = len(acknowledged)
            goal = min(total - 1, done + generator.randrange(1, 15))
            while len(acknowledged) < goal and any(thread.is_alive() for thread in threads):
                time.sleep(0.002)
            time.sleep(generator.random() * 0.01)
            service.kill()
            kills += 1
            service = self.serve(receiver, listen=f"127.0.0.1:{port}")
        for thread in threads:
            thread.join()
        self.assertEqual(sorted(acknowledged), messages)
        self.assertGreater(kills, 3)
        taken = {path.split("from=")[1].split("&")[0] for _, path, _, _ in receiver.taken}
        with sqlite3.connect(self.journal) as file:
            held = {number for (number,) in file.execute("SELECT number FROM message WHERE verdict = 'spam'")}
        self.assertEqual(set(messages) - taken - held, set())
        self.assertEqual(service.stop(), 0)


if __name__ == "__main__":
    unittest.main()
