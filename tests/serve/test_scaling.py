"""Several instances: behind Debian's haproxy, learning from each other, and messages that GNU parallel spreads."""

import http.client
import http.server
import json
import os
import shutil
import signal
import socket
import subprocess
import sys
import threading
import unittest

from service import HAM, LONGEST, PROGRAM, SOURCE, SPAM, ServiceTest, velq, wait_until

TOKEN = "0123456789abcdef0123"
HOST = "filter.example"


def program(name):
    return shutil.which(name) or shutil.which(name, path="/usr/sbin:/usr/bin")


def free_port():
    with socket.create_server(("127.0.0.1", 0)) as listening:
        return listening.getsockname()[1]


class Instances(ServiceTest):
    """Three services, each with an installation of its own that begins as the others do."""

    def setUp(self):
        super().setUp()
        self.token = self.folder / "token"
        self.token.write_text(TOKEN + "\n")
        self.token.chmod(0o600)
        self.services = {}
        for name in "abc":
            velq("init", "--quiet", self.folder / name, "--store", self.folder / "prob.bin")
            self.serve(name)

    def store(self, name):
        return self.data("prob.bin", self.folder / name)

    def serve(self, name, port=0):
        service = self.start("--host", HOST, "--token-file", self.token, install=self.folder / name,
                             listen=f"127.0.0.1:{port}")
        service.headers = {"Host": HOST, "Authorization": "Bearer " + TOKEN}
        self.services[name] = service
        return service

    def dumps(self):
        return [velq("store", "dump", self.store(name)) for name in "abc"]


class Balancing(Instances):
    def setUp(self):
        if not program("haproxy"):
            self.skipTest("haproxy is not here; install the package haproxy")
        super().setUp()

    def start_balancer(self):
        """The configuration that users are shown, with the ports of this test."""
        self.port = free_port()
        text = (SOURCE / "examples/scaling/haproxy.cfg").read_text(encoding="utf-8")
        ports = {"8100": self.port, "8125": self.services["a"].port, "8126": self.services["b"].port,
                 "8127": self.services["c"].port}
        for old, new in ports.items():
            self.assertIn("127.0.0.1:" + old, text)
            text = text.replace("127.0.0.1:" + old, f"127.0.0.1:PORT{new}")
        configuration = self.folder / "haproxy.cfg"
        configuration.write_text(text.replace(":PORT", ":"), encoding="utf-8")
        log = (self.folder / "haproxy.out").open("wb")
        process = subprocess.Popen([program("haproxy"), "-db", "-f", str(configuration)], stdout=log, stderr=log,
                                   stdin=subprocess.DEVNULL, env={**os.environ, "VELQ_TOKEN": TOKEN})

        def end():
            process.send_signal(signal.SIGKILL)
            process.wait()
            log.close()
        self.addCleanup(end)

        def answers():
            self.assertIsNone(process.poll(), (self.folder / "haproxy.out").read_text())
            try:
                return self.ask("/v1/rate", {"body": HAM}).status == 200
            except OSError:
                return False
        wait_until(answers, "haproxy does not answer")

    def ask(self, path, value=None, connection=None):
        own = connection or http.client.HTTPConnection("127.0.0.1", self.port, timeout=LONGEST)
        headers = {"Host": HOST, "Authorization": "Bearer " + TOKEN, "Content-Type": "application/json"}
        own.request("GET" if value is None else "POST", path, None if value is None else json.dumps(value), headers)
        answer = own.getresponse()
        answer.json = json.loads(answer.read() or b"null") if answer.status == 200 else answer.read()
        if connection is None:
            own.close()
        return answer

    def ratings(self, name):
        return sum(self.services[name].metric(f'velq_ratings_total{{verdict="{verdict}",reason="classifier"}}')
                   for verdict in ("ham", "spam"))

    def test_no_request_is_lost_when_an_instance_is_killed_under_load(self):
        self.start_balancer()
        enough, stop, answers, again, failures = threading.Event(), threading.Event(), [], [], []

        def load(thread):
            connection = http.client.HTTPConnection("127.0.0.1", self.port, timeout=LONGEST)
            number = 0
            while not stop.is_set() or number < 20:
                body = SPAM if number % 2 else HAM
                try:
                    answer = self.ask("/v1/rate", {"id": f"{thread}-{number}", "body": body}, connection)
                    if answer.status == 502:
                        raise ConnectionError
                    self.assertEqual((answer.status, answer.json["id"]), (200, f"{thread}-{number}"), answer.json)
                    self.assertEqual(answer.json["rating"], "spam" if number % 2 else "ham")
                except (ConnectionError, http.client.HTTPException):
                    again.append(number)  # as gateways do
                    connection.close()
                    continue
                except Exception as error:  # every one counts, whatever it is
                    failures.append(error)
                    return
                answers.append(answer.json["id"])
                number += 1
                if len(answers) > 200:
                    enough.set()
            connection.close()
        clients = 12
        threads = [threading.Thread(target=load, args=(i,)) for i in range(clients)]
        for thread in threads:
            thread.start()
        try:
            for name in "abc":
                enough.wait(LONGEST)
                service = self.services[name]
                service.kill()
                enough.clear()
                wait_until(lambda count=len(answers): len(answers) > count + 100 or failures, "no answers any more")
                self.serve(name, service.port)
                wait_until(lambda name=name: self.ratings(name) > 0 or failures, "the instance is not asked again")
        finally:
            stop.set()
            for thread in threads:
                thread.join()
        self.assertEqual(failures, [])
        self.assertEqual(len(answers), len(set(answers)))
        # Only what a killed instance had received and not read yet has to be sent again.
        self.assertLessEqual(len(again), 3 * clients)

    def test_an_instance_that_stops_is_left_out(self):
        self.start_balancer()
        self.assertEqual(self.services["b"].stop(), 0)
        self.assertEqual([self.ask("/v1/rate", {"body": HAM}).status for _ in range(20)], [200] * 20)

    def test_one_instance_takes_the_corrections_and_takes_them_back(self):
        self.start_balancer()
        before = self.dumps()[0]
        self.assertEqual(self.ask("/v1/mark", {"as": "spam", "body": HAM}).status, 200)
        self.assertNotEqual(self.dumps()[0], before)
        self.assertEqual(self.ask("/v1/mark", {"undo": True}).status, 200)
        self.assertEqual(self.dumps()[0], before)
        self.services["a"].kill()
        wait_until(lambda: self.ask("/v1/mark", {"as": "spam", "body": HAM}).status == 200, "no other one takes them")

    def test_what_each_instance_has_of_its_own_is_not_reached(self):
        self.start_balancer()
        for path in ("/v1/lists/black", "/v1/journal", "/v1/versions", "/metrics", "/"):
            self.assertEqual(self.ask(path).status, 404, path)


class Sharing(Instances):
    def share(self, *options, status=0, base=True, urls=None):
        arguments = [sys.executable, SOURCE / "examples/scaling/share_learning.py", "--velq", PROGRAM, "--state",
                     self.folder / "state", "--token-file", self.token, *options]
        if base:
            arguments += ["--base", self.folder / "prob.bin"]
        for name, service in self.services.items():
            url = (urls or {}).get(name, f"http://127.0.0.1:{service.port}")
            arguments += ["--instance", name, self.store(name), url]
        done = subprocess.run([str(argument) for argument in arguments], capture_output=True, text=True, check=False,
                              timeout=3 * LONGEST)
        self.assertEqual(done.returncode, status, done.stderr)
        return done.stderr

    def counts(self, name="a"):
        rows = {}
        for line in velq("store", "dump", self.store(name)).splitlines():
            fields = line.split("\t")
            if len(fields) == 3:
                rows[fields[0]] = (int(fields[1]), int(fields[2]))
        return rows

    def learn(self, name, *texts):
        for text in texts:
            self.assertEqual(self.services[name].post("/v1/rate", {"body": text}).status, 200)

    def test_three_instances_know_what_each_has_learned(self):
        base = self.counts()
        self.learn("a", SPAM, SPAM)
        self.learn("b", SPAM + " 中奖 免费")
        self.assertEqual(self.services["c"].post("/v1/mark", {"as": "spam", "body": "neut mid2 neut"}).status, 200)
        before = {name: self.counts(name) for name in "abc"}
        self.share()
        for name in "abc":
            expected = before[name]
            for other in set("abc") - {name}:
                for key, counts in self.gains(before[other], base).items():
                    expected = {**expected, key: tuple(map(sum, zip(expected.get(key, (0, 0)), counts)))}
            self.assertEqual(self.counts(name), expected, name)
        self.assertEqual([self.counts(name)["messages"] for name in "ab"], [(104, 100)] * 2)
        self.assertEqual([self.counts(name)["neut"] for name in "ab"], [(51, 50)] * 2)
        # The correction also took a message off the other side, which no update does.
        self.assertEqual((self.counts("c")["messages"], self.counts("c")["neut"]), ((104, 99), (51, 49)))

    @staticmethod
    def gains(now, base):
        """What was learned, by token; what was taken back is left out."""
        gains = {key: tuple(max(0, a - b) for a, b in zip(counts, base.get(key, (0, 0)))) for key, counts in now.items()}
        return {key: gain for key, gain in gains.items() if any(gain)}

    def test_corrections_at_one_move_the_verdicts_of_all(self):
        text = "cake cake hello cake at seven"
        before = [self.explained(name, text) for name in "abc"]
        self.assertEqual({answer["rating"] for answer in before}, {"ham"})
        for _ in range(60):
            self.services["a"].post("/v1/mark", {"as": "spam", "body": text})
        self.share()
        after = [self.explained(name, text) for name in "abc"]
        self.assertNotIn("ham", [answer["rating"] for answer in after])
        for answer in after:
            self.assertGreater(answer["spamicity"], before[0]["spamicity"])

    def explained(self, name, text):
        return self.services[name].post("/v1/explain", {"body": text}).json

    def test_a_run_with_nothing_new_changes_nothing(self):
        self.learn("a", SPAM)
        self.share()
        before = self.dumps()
        versions = [self.services[name].get("/v1/versions").json for name in "abc"]
        self.share(base=False)
        self.share(base=False)
        self.assertEqual(self.dumps(), before)
        self.assertEqual([self.services[name].get("/v1/versions").json for name in "abc"], versions)

    def test_the_same_learned_again_is_shared_again(self):
        for count in (1, 2, 3):
            self.learn("a", SPAM)
            self.share()
            self.assertEqual([self.counts(name)["messages"] for name in "abc"], [(100 + count, 100)] * 3)

    def test_an_instance_that_was_away_catches_up_and_counts_once(self):
        self.learn("c", SPAM)
        port = self.services["c"].port
        self.services["c"].kill()
        self.learn("a", SPAM)
        self.assertIn("c is left out", self.share(status=1))
        self.assertEqual(self.counts("b")["messages"], (101, 100))
        self.assertEqual(self.counts("c")["messages"], (101, 100))
        self.learn("b", SPAM)
        self.assertIn("c is left out", self.share(status=1))
        self.serve("c", port)
        self.share()
        self.assertEqual([self.counts(name)["messages"] for name in "abc"], [(103, 100)] * 3)

    def test_an_update_whose_answer_was_lost_counts_once(self):
        self.learn("a", SPAM)
        self.share()
        self.learn("a", SPAM + " 中奖 免费")
        self.assertIn("b is left out", self.share(status=1, urls={"b": self.losing_answers("b")}))
        self.assertEqual([self.counts(name)["messages"] for name in "abc"], [(102, 100)] * 3)
        self.learn("b", SPAM)
        self.learn("c", SPAM)
        self.share()
        self.assertEqual([self.counts(name)["messages"] for name in "abc"], [(104, 100)] * 3)

    def test_an_update_that_did_not_arrive_is_brought_later_with_what_came_since(self):
        self.share()
        self.learn("a", SPAM)
        held = self.lock(install=self.folder / "b", how="IMMEDIATE")  # it can still be read
        self.assertIn("b is left out", self.share(status=1))
        self.learn("c", SPAM)
        self.assertIn("b is left out", self.share(status=1))
        held.execute("ROLLBACK")
        self.share()
        self.assertEqual([self.counts(name)["messages"] for name in "abc"], [(102, 100)] * 3)

    def losing_answers(self, name):
        """An address where the service gets every request, and nobody hears of an update."""
        service = self.services[name]

        class Handler(http.server.BaseHTTPRequestHandler):
            def pass_on(self):
                body = self.rfile.read(int(self.headers.get("Content-Length", 0)))
                answer = service.request(self.command, self.path, body or None, self.headers.get("Content-Type"))
                if self.command == "POST":
                    return  # the connection ends
                self.send_response(answer.status)
                self.send_header("Content-Type", answer.headers["Content-Type"])
                self.end_headers()
                self.wfile.write(answer.body)

            do_GET = do_POST = pass_on

            def log_message(self, *_):
                pass
        server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Handler)
        thread = threading.Thread(target=server.serve_forever, kwargs={"poll_interval": 0.05})
        thread.start()

        def end():
            server.shutdown()
            server.server_close()
            thread.join()
        self.addCleanup(end)
        return f"http://127.0.0.1:{server.server_address[1]}"

    def test_a_new_instance_gets_all_that_was_learned(self):
        late = self.services.pop("c")
        self.learn("a", SPAM)
        self.share()
        self.learn("b", SPAM)
        self.share()
        self.services["c"] = late
        self.learn("c", SPAM)
        self.share()
        self.assertEqual([self.counts(name)["messages"] for name in "abc"], [(103, 100)] * 3)

    def test_an_update_from_elsewhere_goes_to_one_and_is_shared(self):
        self.share()
        new = self.folder / "new.txt"
        new.write_text(self.dumps()[0].replace("priz\t90\t1", "priz\t95\t1"), encoding="utf-8")
        velq("store", "diff", "--quiet", self.store("a"), new, "-o", self.folder / "words.upd")
        self.services["a"].post("/v1/updates?kind=probability&version=9", (self.folder / "words.upd").read_bytes(),
                                "application/octet-stream")
        self.share()
        self.assertEqual([self.counts(name)["priz"] for name in "abc"], [(95, 1)] * 3)

    def test_what_was_unlearned_at_one_lowers_no_count_elsewhere_and_comes_to_rest(self):
        self.learn("a", SPAM)
        self.services["b"].post("/v1/mark", {"as": "spam", "body": HAM})
        self.share()
        self.services["b"].post("/v1/mark", {"undo": True})
        self.share()
        self.share()
        before = self.dumps()
        self.share()
        self.assertEqual(self.dumps(), before)
        for name in "abc":
            service = self.services[name]
            self.assertEqual([service.post("/v1/explain", {"body": text}).json["rating"] for text in (SPAM, HAM)],
                             ["spam", "ham"])

    def test_it_says_what_is_missing(self):
        self.assertIn("--base", self.share(status=1, base=False))
        self.store("b").rename(self.folder / "moved")
        try:
            self.assertIn("b is left out", self.share(status=1))
        finally:
            (self.folder / "moved").rename(self.store("b"))


class Archives(ServiceTest):
    def test_parallel_spreads_an_archive_over_processes(self):
        if not program("parallel"):
            self.skipTest("GNU parallel is not here; install the package parallel")
        archive = self.folder / "archive.jsonl"
        texts = [SPAM, HAM, "neut ral1"]
        archive.write_text("".join(json.dumps({"id": i, "body": f"{texts[i % 3]} {i}"}) + "\n" for i in range(3000)))
        before = self.counts()
        command = [program("parallel"), "--pipe", "--keep-order", "--block", "20k", "--jobs", "3", "--halt", "now,fail=1",
                   PROGRAM, "rate", "--dry-run", "--json-lines", "--install", str(self.install)]
        with archive.open("rb") as requests:
            spread = subprocess.run(command, stdin=requests, capture_output=True, check=True,
                                    env={**os.environ, "HOME": str(self.folder)}, timeout=5 * LONGEST)
        with archive.open("rb") as requests:
            alone = subprocess.run(command[-6:], stdin=requests, capture_output=True, check=True)

        def verdicts(done):
            return [{**json.loads(line), "microseconds": 0} for line in done.stdout.splitlines()]
        self.assertEqual(len(verdicts(spread)), 3000)
        self.assertEqual(verdicts(spread), verdicts(alone))
        self.assertEqual(self.counts(), before)


if __name__ == "__main__":
    unittest.main()
