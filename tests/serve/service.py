"""What the tests of the service share: installations, the service as a process, requests whose answers are checked
against the description of the service, a receiver behind it."""

import http.client
import http.server
import json
import os
import pathlib
import re
import shutil
import signal
import socket
import sqlite3
import subprocess
import tempfile
import threading
import time
import unittest
import urllib.parse

try:
    import jsonschema
except ImportError:  # answers are then not checked against the description
    jsonschema = None

PROGRAM = os.environ["VELQ_PROGRAM"]
SOURCE = pathlib.Path(os.environ["VELQ_SOURCE"])
DESCRIPTION = json.loads((SOURCE / "tools/kit/serve/openapi.json").read_text(encoding="utf-8"))

SPAM = "winner claim prize"
HAM = "hello cake at seven"
UNSURE = "neut mid2 ral1 neut ral1 mid2 neut ral1"
LONGEST = 60  # seconds that anything may take, on a machine that does much else


def velq(*arguments, status=0):
    """Runs the command and returns what it printed."""
    done = subprocess.run([PROGRAM, *map(str, arguments)], capture_output=True, text=True, check=False,
                          timeout=LONGEST)
    assert done.returncode == status, (arguments, done.returncode, done.stderr)
    return done.stdout if status == 0 else done.stderr


def wait_until(holds, what):
    """Fails unless it holds before long."""
    end = time.monotonic() + LONGEST
    while not holds():
        assert time.monotonic() < end, what
        time.sleep(0.01)


def find_schema(schema):
    """Follows references within the description."""
    while "$ref" in schema:
        found = DESCRIPTION
        for name in schema["$ref"].removeprefix("#/").split("/"):
            found = found[name]
        schema = found
    return schema


def described_path(path):
    """The path as the description has it: /v1/journal/{message} for /v1/journal/7."""
    paths = DESCRIPTION["paths"]
    if path in paths:
        return path
    return next((known for known in paths if re.fullmatch(re.sub(r"\{\w+\}", "[^/]+", known), path)), path)


def check_answer(method, path, status, headers, body):
    """The answer is one that the description has."""
    operation = DESCRIPTION["paths"].get(described_path(path), {}).get(method.lower())
    if operation is None:
        described = DESCRIPTION["components"]["responses"]["problem"]
    else:
        responses = operation["responses"]
        assert str(status) in responses or "default" in responses, f"{method} {path} answers {status}"
        if str(status) not in responses:
            return  # what a receiver answered
        described = find_schema(responses[str(status)])
    kind = headers.get("Content-Type", "").split(";")[0]
    if kind not in described["content"] and "*/*" in described["content"]:
        return
    assert kind in described["content"], f"{method} {path} answers {status} with {kind}"
    for name in described.get("headers", {}):
        assert name in headers, f"{method} {path} answers without {name}"
    if kind.endswith("json"):
        value = json.loads(body)
        if kind == "application/problem+json":
            assert value["status"] == status
        if jsonschema is not None:
            schema = {**described["content"][kind]["schema"], "components": DESCRIPTION["components"]}
            jsonschema.Draft202012Validator(schema).validate(value)


class Answer:
    """One answer; its body as JSON where it is JSON."""

    def __init__(self, method, path, response):
        self.status = response.status
        self.headers = response.headers
        self.body = response.read()
        if method != "HEAD":
            check_answer(method, path, self.status, self.headers, self.body)
        kind = self.headers.get("Content-Type", "")
        self.json = json.loads(self.body) if "json" in kind and self.body else None


class Service:
    """velq serve as a process."""

    def __init__(self, install, *options, listen="127.0.0.1:0", preexec=None, restore_signals=True):
        self.log = tempfile.TemporaryFile("w+")
        self.process = subprocess.Popen([PROGRAM, "serve", "--install", str(install), "--listen", listen,
                                         *map(str, options)], stdout=subprocess.PIPE, stderr=self.log, text=True,
                                        preexec_fn=preexec, restore_signals=restore_signals)
        line = self.process.stdout.readline()
        assert line.startswith("listening on http://"), (line, self.err())
        self.host, self.port = line.strip().removeprefix("listening on http://").rsplit(":", 1)
        self.port = int(self.port)
        self.headers = {}

    def err(self):
        self.log.seek(0)
        return self.log.read()

    def connect(self):
        return http.client.HTTPConnection(self.host.strip("[]"), self.port, timeout=LONGEST)

    def request(self, method, target, body=None, kind=None, headers=None, connection=None):
        """One request; a body that is no bytes goes as JSON. It has a connection of its own unless one is given."""
        own = connection is None
        connection = connection or self.connect()
        sent = {**self.headers, **(headers or {})}
        if body is not None and not isinstance(body, bytes):
            body = json.dumps(body).encode()
            kind = kind or "application/json"
        if kind:
            sent["Content-Type"] = kind
        connection.request(method, target, body, sent)
        answer = Answer(method, target.split("?")[0], connection.getresponse())
        if own:
            connection.close()
        return answer

    def get(self, target, **more):
        return self.request("GET", target, **more)

    def post(self, target, body, kind=None, **more):
        return self.request("POST", target, body, kind, **more)

    def metric(self, line):
        """The value behind a line's name and labels; 0 where there is none."""
        text = self.get("/metrics").body.decode()
        found = re.search("^" + re.escape(line) + r" (\S+)$", text, re.MULTILINE)
        return float(found.group(1)) if found else 0

    def raw(self):
        """A connection without a library."""
        return socket.create_connection((self.host, self.port), timeout=LONGEST)

    def stop(self):
        if self.process.poll() is None:
            self.process.send_signal(signal.SIGTERM)
        status = self.process.wait(LONGEST)
        self.process.stdout.close()
        return status

    def kill(self):
        self.process.kill()
        self.process.wait(LONGEST)
        self.process.stdout.close()


class ServiceTest(unittest.TestCase):
    """An installation of its own for each test, and services that end with it."""

    store = None  # made once

    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="velq-serve-"))
        self.addCleanup(shutil.rmtree, self.folder)
        self.install = self.folder / "filter"
        store = self.folder / "prob.bin"
        velq("store", "load", SOURCE / "tests/hooks/store.txt", "-o", store)
        velq("init", "--quiet", self.install, "--store", store)

    def data(self, name, install=None):
        return (install or self.install) / "Quenlibra/Tarvolent/data" / name

    def start(self, *options, install=None, **more):
        service = Service(install or self.install, *options, **more)

        def end():
            if service.process.poll() is None:
                service.kill()
            service.process.stdout.close()
            service.log.close()
        self.addCleanup(end)
        return service

    def counts(self):
        """The token store as text."""
        return velq("store", "dump", self.data("prob.bin"))

    def lock(self, name="prob.bin", install=None, how="EXCLUSIVE"):
        """Holds a data file as another program would."""
        held = sqlite3.connect(self.data(name, install), isolation_level=None, check_same_thread=False)
        held.execute("BEGIN " + how)
        self.addCleanup(held.close)
        return held


class Receiver:
    """What stands behind the service: takes messages and remembers them."""

    def __init__(self, port=0, status=200):
        self.taken = []
        self.connections = []
        self.status = status
        receiver = self

        class Handler(http.server.BaseHTTPRequestHandler):
            protocol_version = "HTTP/1.1"

            def setup(self):
                receiver.connections.append(self.request)
                super().setup()

            def answer(self):
                body = self.rfile.read(int(self.headers.get("Content-Length", 0)))
                receiver.taken.append((self.command, self.path, dict(self.headers.items()), body))
                self.send_response(receiver.status)
                self.send_header("Content-Type", "text/plain")
                self.send_header("Content-Length", "5")
                self.end_headers()
                self.wfile.write(b"taken")

            do_GET = do_POST = answer

            def log_message(self, *_):
                pass

        class Server(http.server.ThreadingHTTPServer):
            daemon_threads = True
            request_queue_size = 256

        self.server = Server(("127.0.0.1", port), Handler)
        self.port = self.server.server_address[1]
        self.url = f"http://127.0.0.1:{self.port}/sms"
        self.thread = threading.Thread(target=self.server.serve_forever, kwargs={"poll_interval": 0.05})
        self.thread.start()

    def stop(self):
        self.server.shutdown()
        self.server.server_close()
        self.thread.join()
        for connection in self.connections:  # as a process that ends does
            try:
                connection.shutdown(socket.SHUT_RDWR)
            except OSError:
                pass


def kannel_target(number, text, **more):
    """What Kannel's get-url asks for."""
    return "/hook/kannel?" + urllib.parse.urlencode({"from": number, "text": text, **more})
