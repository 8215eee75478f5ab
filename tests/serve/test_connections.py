"""Connections: many, slow, broken, and the end of the service."""

import http.client
import io
import signal
import socket
import threading
import unittest

from service import LONGEST, SPAM, ServiceTest, wait_until

BODY = b'{"body":"winner claim prize"}'


def head(service, length, more=""):
    return (f"POST /v1/rate HTTP/1.1\r\nHost: 127.0.0.1:{service.port}\r\nContent-Type: application/json\r\n"
            f"Content-Length: {length}\r\n{more}\r\n").encode()


class Answers:
    """The answers on one connection, one after the other. An answer closes the file that it is read from; what that
    file has read ahead of the answer's end stays here."""

    class KeptFile(io.BufferedReader):
        def close(self):
            pass

    def __init__(self, connection):
        self.file = self.KeptFile(connection.makefile("rb", buffering=0))

    def makefile(self, _):
        return self.file

    def next(self):
        response = http.client.HTTPResponse(self)
        response.begin()
        return response.status, response.read()


def answer_of(connection):
    return Answers(connection).next()


def is_closed(connection):
    try:
        return connection.recv(1000) == b""
    except ConnectionError:
        return True


class Many(ServiceTest):
    def test_a_thousand_idle_connections_hinder_nobody(self):
        service = self.start()
        idle = [service.raw() for _ in range(1000)]
        self.addCleanup(lambda: [connection.close() for connection in idle])
        wait_until(lambda: service.metric("velq_connections") > 1000, "not all connections were taken")
        self.assertEqual(service.post("/v1/rate", {"body": SPAM}).json["rating"], "spam")
        for connection in idle[::100]:  # and each of them still serves
            connection.sendall(head(service, len(BODY)) + BODY)
            self.assertEqual(answer_of(connection)[0], 200)

    def test_the_longest_idle_one_goes_first(self):
        service = self.start("--connections", 4)
        connections = [service.raw() for _ in range(4)]
        connections[0].sendall(head(service, len(BODY)) + BODY)  # now the second is the one idle for longest
        self.assertEqual(answer_of(connections[0])[0], 200)
        fifth = service.raw()
        fifth.sendall(head(service, len(BODY)) + BODY)
        self.assertEqual(answer_of(fifth)[0], 200)
        self.assertTrue(is_closed(connections[1]))
        for connection in (connections[0], connections[2], connections[3]):
            connection.sendall(head(service, len(BODY)) + BODY)
            self.assertEqual(answer_of(connection)[0], 200)
        for connection in (*connections, fifth):
            connection.close()

    def test_requests_on_one_connection_are_answered_in_order(self):
        service = self.start()
        connection = service.raw()
        one = b'{"id":%d,"body":"winner claim prize"}'
        connection.sendall(b"".join(head(service, len(one % i)) + one % i for i in range(1, 6)))
        answers = Answers(connection)
        for i in range(1, 6):
            status, body = answers.next()
            self.assertEqual(status, 200)
            self.assertIn(b'"id":%d,' % i, body)
        connection.close()

    def test_a_full_queue_is_said_and_loses_nothing(self):
        service = self.start("--queue", 1)
        held = self.lock()
        statuses = []

        def ask():
            answer = service.post("/v1/rate", {"body": SPAM})
            statuses.append((answer.status, answer.json["type"], answer.headers["Retry-After"]))
        threads = [threading.Thread(target=ask) for _ in range(12)]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        held.execute("ROLLBACK")
        self.assertEqual({status for status, _, _ in statuses}, {503})
        self.assertIn((503, "urn:velq:queue-full", "1"), statuses)
        self.assertIn((503, "urn:velq:in-use", "1"), statuses)
        self.assertEqual(service.post("/v1/rate", {"body": SPAM}).json["rating"], "spam")


class Slow(ServiceTest):
    def test_a_request_in_pieces_of_one_byte_is_answered(self):
        service = self.start()
        connection = service.raw()
        connection.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
        for byte in head(service, len(BODY)) + BODY:
            connection.sendall(bytes([byte]))
        self.assertEqual(answer_of(connection)[0], 200)
        connection.close()

    def test_a_body_that_does_not_come_is_not_waited_for(self):
        service = self.start("--read-seconds", 1)
        connection = service.raw()
        connection.sendall(head(service, 100) + b"{")
        self.assertTrue(is_closed(connection))
        connection.close()
        self.assertEqual(service.post("/v1/rate", {"body": SPAM}).status, 200)

    def test_a_body_that_drips_is_not_waited_for(self):
        service = self.start("--read-seconds", 1)
        connection = service.raw()
        connection.sendall(head(service, 60000))
        connection.settimeout(0.05)
        ended = False
        for _ in range(20 * LONGEST):
            try:
                connection.sendall(b" ")
                if connection.recv(1) == b"":
                    ended = True
                    break
            except TimeoutError:
                continue
            except ConnectionError:
                ended = True
                break
        self.assertTrue(ended)
        connection.close()

    def test_a_head_that_does_not_come_is_not_waited_for(self):
        service = self.start("--idle-seconds", 1)
        silent, half = service.raw(), service.raw()
        half.sendall(b"GET /healthz HTTP/1.1\r\nHos")
        self.assertTrue(is_closed(silent))
        self.assertTrue(is_closed(half))
        silent.close()
        half.close()

    def test_requests_that_break_off_leave_nothing(self):
        service = self.start("--idle-seconds", 10 * LONGEST)  # they are not kept until they count as idle
        whole = head(service, len(BODY)) + BODY
        before = self.counts()
        for length in range(1, len(whole), 7):
            connection = service.raw()
            connection.sendall(whole[:length])
            connection.close()
        wait_until(lambda: service.metric("velq_connections") <= 1, "connections stayed")
        self.assertEqual(self.counts(), before)
        self.assertEqual(service.post("/v1/rate", {"body": SPAM}).status, 200)


class Limits(ServiceTest):
    def test_bodies_are_taken_up_to_their_limit(self):
        service = self.start()
        fitting = b'{"body":"' + b"x" * (65536 - 11) + b'"}'
        self.assertEqual(service.post("/v1/rate", fitting, "application/json").status, 200)
        self.assertEqual(service.post("/v1/rate", fitting + b" ", "application/json").status, 413)
        self.assertEqual(service.post("/v1/rate", b" " * (4 << 20), "application/json").status, 413)
        self.assertEqual(service.post("/v1/lists/black", b"number\n" + b"\n" * (16 << 20), "text/csv").status, 413)
        self.assertEqual(service.post("/v1/lists/black", b"number\n" + b"\n" * (4 << 20), "text/csv").status, 200)
        self.assertEqual(service.request("GET", "/healthz", b"x").status, 413)

    def test_a_body_of_unknown_length_is_too(self):
        service = self.start()
        connection = service.raw()
        connection.sendall(head(service, 0).replace(b"Content-Length: 0", b"Transfer-Encoding: chunked"))
        for _ in range(20):
            connection.sendall(b"2000\r\n" + b" " * 0x2000 + b"\r\n")
        connection.sendall(b"0\r\n\r\n")
        self.assertEqual(answer_of(connection)[0], 413)
        connection.close()

    def test_whoever_asks_first_need_not_send_a_body(self):
        service = self.start()
        connection = service.raw()
        connection.sendall(head(service, 1 << 30, "Expect: 100-continue\r\n"))
        self.assertEqual(answer_of(connection)[0], 413)
        connection.close()

    def test_a_head_that_is_too_long_is_refused(self):
        service = self.start()
        connection = service.raw()
        connection.sendall(b"GET /" + b"x" * 100000)
        try:
            connection.sendall(b" HTTP/1.1\r\n\r\n")
            self.assertIn(answer_of(connection)[0], (400, 413, 414, 431, 503))
        except (ConnectionError, http.client.HTTPException):
            pass  # closed
        connection.close()
        self.assertEqual(service.get("/healthz").status, 200)


class End(ServiceTest):
    def test_what_is_running_is_finished(self):
        service = self.start()
        held = self.lock()
        results = []
        refused = []

        def ask():
            try:
                results.append(service.post("/v1/rate", {"body": SPAM}).status)
            except (ConnectionError, http.client.HTTPException):
                refused.append(True)

        def taken():
            return service.metric("velq_queue_length") + service.metric(
                'velq_requests_total{path="/v1/rate",status="503"}')
        # Each waits for the store for a while, five times 50 milliseconds. Of five, four are known to have been taken when
        # four wait or are answered; the fifth may be on its way.
        threads = [threading.Thread(target=ask) for _ in range(5)]
        for thread in threads:
            thread.start()
        wait_until(lambda: taken() >= 4, "the requests did not come")
        idle = service.raw()
        service.process.send_signal(signal.SIGTERM)
        held.execute("ROLLBACK")
        for thread in threads:
            thread.join()
        self.assertTrue(is_closed(idle))
        idle.close()
        self.assertEqual(service.process.wait(LONGEST), 0)
        self.assertGreaterEqual(len(results), 4)
        self.assertEqual(len(results) + len(refused), 5)
        self.assertLessEqual(set(results), {200, 503})
        self.assertIn("stopped", service.err())
        with self.assertRaises(OSError):
            service.raw()

    def test_an_idle_service_ends_at_once_by_either_signal(self):
        for number in (signal.SIGTERM, signal.SIGINT):
            service = self.start()
            connection = service.connect()
            self.assertEqual(service.get("/healthz", connection=connection).status, 200)
            service.process.send_signal(number)
            self.assertEqual(service.process.wait(LONGEST), 0)
            connection.close()
            self.assertFalse(list(self.data("prob.bin").parent.glob("*-journal")))

    def test_the_log_is_opened_anew(self):
        log = self.folder / "serve.log"
        service = self.start("--log", log)
        log.rename(self.folder / "serve.log.1")
        service.process.send_signal(signal.SIGHUP)
        wait_until(lambda: log.exists() and "log opened anew" in log.read_text(), "the log was not opened anew")
        self.assertEqual(service.get("/healthz").status, 200)
        self.assertEqual(service.stop(), 0)
        self.assertIn("stopped", log.read_text())
        self.assertNotIn("stopped", (self.folder / "serve.log.1").read_text())

    def test_no_text_and_no_number_gets_into_the_log(self):
        log = self.folder / "serve.log"
        service = self.start("--log", log)
        held = self.lock()
        self.assertEqual(service.post("/v1/rate", {"body": "sesame sesame", "number": "+4577777777"}).status, 503)
        self.assertEqual(service.get("/hook/kannel?from=%2B4577777777&text=sesame+sesame").status, 503)
        held.execute("ROLLBACK")
        service.post("/v1/rate", {"body": "sesame sesame", "number": "+4577777777"})
        service.post("/v1/rate", b'{"body":"sesame', "application/json")
        service.stop()
        text = log.read_text()
        self.assertIn("/v1/rate", text)
        self.assertNotIn("sesame", text)
        self.assertNotIn("4577777777", text)

    def test_it_does_not_take_more_files_than_the_system_gives(self):
        import resource
        import subprocess
        from service import PROGRAM
        done = subprocess.run([PROGRAM, "serve", "--install", str(self.install), "--listen", "127.0.0.1:0"],
                              capture_output=True, text=True, check=False,
                              preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_NOFILE, (500, 500)))
        self.assertEqual(done.returncode, 74)
        self.assertIn("--connections", done.stderr)


if __name__ == "__main__":
    unittest.main()
