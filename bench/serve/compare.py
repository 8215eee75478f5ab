#!/usr/bin/env python3
"""Requests a second, latencies and memory of velq serve; beside it spamd and rspamd on the same messages.

    bench/serve/compare.py --velq build/bin/velq MESSAGES.tsv...     (label, tab, text)

Every third message is asked about, the others train: a token store for velq, the Bayes filters of the other two. All
run on this machine, over loopback, one after the other; --only names what is to run, --before another build of velq
to compare with. Takes wrk, spamassassin, spamc, rspamd and redis-server from Debian.
"""

import argparse
import contextlib
import json
import os
import pathlib
import random
import re
import shutil
import signal
import socket
import statistics
import subprocess
import sys
import tempfile
import threading
import time
import urllib.request

HERE = pathlib.Path(__file__).parent


# ---- Messages -----------------------------------------------------------------------------------------------------


def read_messages(files, count, seed=1):
    """(spam?, text), at most `count` of each label, shuffled."""
    by_label = {"ham": [], "spam": []}
    for name in files:
        for line in pathlib.Path(name).read_text(encoding="utf-8").splitlines():
            label, _, text = line.partition("\t")
            if label in by_label and text.strip():
                by_label[label].append(text)
    chosen = random.Random(seed)
    messages = []
    for label, texts in by_label.items():
        messages += [(label == "spam", text) for text in chosen.sample(texts, min(count, len(texts)))]
    chosen.shuffle(messages)
    return messages


def mail(text, number):
    """A message as mail, for programs that take nothing else."""
    return (f"From: sender{number}@example.org\nTo: me@example.net\nSubject: message\n"
            f"Date: Sun, 22 Nov 2026 12:00:00 +0000\nMessage-ID: <{number}@example.org>\nMIME-Version: 1.0\n"
            f"Content-Type: text/plain; charset=utf-8\nContent-Transfer-Encoding: 8bit\n\n{text}\n")


# ---- Processes ----------------------------------------------------------------------------------------------------


def free_port():
    with socket.create_server(("127.0.0.1", 0)) as listening:
        return listening.getsockname()[1]


def accepts(port):
    with contextlib.suppress(OSError):
        socket.create_connection(("127.0.0.1", port), timeout=1).close()
        return True
    return False


def tree(pid):
    """A process and its descendants."""
    found = [pid]
    for child in pathlib.Path("/proc").glob("[0-9]*/stat"):
        with contextlib.suppress(OSError, IndexError):
            if int(child.read_text().rsplit(")", 1)[1].split()[1]) == pid:
                found += tree(int(child.parent.name))
    return found


def memory(pid):
    """MB of memory that the processes have, what they share counted once."""
    total = 0
    for process in tree(pid):
        with contextlib.suppress(OSError):
            text = pathlib.Path(f"/proc/{process}/smaps_rollup").read_text()
            total += int(re.search(r"^Pss:\s+(\d+)", text, re.MULTILINE).group(1))
    return total / 1024


def processor_time(*pids):
    """Seconds that the processes and their children have had."""
    ticks = 0
    for pid in pids:
        for process in tree(pid):
            with contextlib.suppress(OSError):
                fields = pathlib.Path(f"/proc/{process}/stat").read_text().rsplit(")", 1)[1].split()
                ticks += sum(map(int, fields[11:15] if process == pid else fields[11:13]))
    return ticks / os.sysconf("SC_CLK_TCK")


def thread_times(pid):
    """Seconds that each thread has had."""
    threads = sorted(pathlib.Path(f"/proc/{pid}/task").iterdir(), key=lambda thread: int(thread.name))
    return [int((thread / "schedstat").read_text().split()[0]) / 1e9 for thread in threads]


@contextlib.contextmanager
def background(arguments, port, **more):
    """Runs while it is used, once it accepts connections."""
    process = subprocess.Popen([str(a) for a in arguments], stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                               stderr=more.pop("log", subprocess.DEVNULL), start_new_session=True, **more)
    try:
        end = time.monotonic() + 60
        while not accepts(port):
            if process.poll() is not None or time.monotonic() > end:
                raise SystemExit(f"{arguments[0]} does not start")
            time.sleep(0.05)
        yield process
    finally:
        with contextlib.suppress(OSError):
            os.killpg(process.pid, signal.SIGTERM)
        try:
            process.wait(20)
        except subprocess.TimeoutExpired:
            os.killpg(process.pid, signal.SIGKILL)
            process.wait()


# ---- Load ---------------------------------------------------------------------------------------------------------


def wrk(url, bodies, kind, connections, seconds, lines=False):
    arguments = ["wrk", "--threads", "1", "--connections", connections, "--duration", f"{seconds}s", "--timeout", "30s",
                 "--script", HERE / "messages.lua", url, "--", bodies, kind] + (["lines"] if lines else [])
    done = subprocess.run([str(a) for a in arguments], capture_output=True, text=True, check=True)
    return json.loads(done.stdout.strip().splitlines()[-1])


def spamc_load(port, mails, connections, seconds):
    """What wrk does, in spamd's protocol: a connection for each message."""
    times, errors, stop = [], [], time.monotonic() + seconds

    def one(start):
        at = start
        while time.monotonic() < stop:
            text = mails[at % len(mails)]
            at += connections
            begin = time.monotonic()
            try:
                with socket.create_connection(("127.0.0.1", port), timeout=60) as connection:
                    connection.sendall(b"CHECK SPAMC/1.5\r\nContent-length: %d\r\n\r\n" % len(text) + text)
                    answer = b"".join(iter(lambda: connection.recv(65536), b""))
                if b" EX_OK" not in answer or b"Spam: " not in answer:
                    raise OSError(answer[:80])
                times.append(time.monotonic() - begin)
            except OSError as error:
                errors.append(error)
    threads = [threading.Thread(target=one, args=(i,)) for i in range(connections)]
    begin = time.monotonic()
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    took = time.monotonic() - begin
    times.sort()

    def percentile(share):
        return 1000 * times[min(len(times) - 1, int(share * len(times)))] if times else float("nan")
    return {"requests": len(times), "seconds": took, "p50": percentile(0.5), "p99": percentile(0.99),
            "p999": percentile(0.999), "most": percentile(1), "refused": 0, "errors": len(errors)}


def warm_up(load):
    """Until what its connections have left behind is worked off."""
    load()
    time.sleep(1)


def measure(who, connections, pids, load):
    """One row: what `load` reports, and what it took of these processes."""
    before = processor_time(*pids)
    measured = load()
    answered = measured["requests"] - measured["refused"]
    each = 1e6 * (processor_time(*pids) - before) / max(1, answered)
    rate = answered / measured["seconds"]
    print(f"| {who} | {connections} | {rate:,.0f} | {each:,.0f} | {measured['p50']:.2f} | {measured['p99']:.2f} | "
          f"{measured['p999']:.2f} | {sum(map(memory, pids)):.0f} | {measured['refused'] + measured['errors']} |",
          flush=True)


# ---- velq ---------------------------------------------------------------------------------------------------------


class Velq:
    def __init__(self, options, work):
        self.options, self.work, self.store = options, work, work / "prob.bin"

    def velq(self, *arguments):
        return subprocess.run([self.options.velq, *map(str, arguments)], capture_output=True, text=True,
                              check=True).stdout

    def train(self, messages):
        corpus = self.work / "train.tsv"
        corpus.write_text("".join(f"{'spam' if spam else 'ham'}\t{text}\n" for spam, text in messages),
                          encoding="utf-8")
        self.velq("store", "build", "--quiet", corpus, "-o", self.store)

    def install(self, name, mode):
        folder = self.work / name
        shutil.rmtree(folder, ignore_errors=True)
        self.velq("init", "--quiet", folder, "--store", self.store, "--journal", mode)
        return folder

    @contextlib.contextmanager
    def serve(self, mode, journal, program=None):
        port = free_port()
        folder = self.install("filter", mode)
        options = ["--journal", self.work / "journal.db"] if journal else []
        for file in self.work.glob("journal.db*"):
            file.unlink()
        with background([program or self.options.velq, "serve", "--install", folder, "--listen", f"127.0.0.1:{port}",
                         *options], port) as process:
            yield process, f"http://127.0.0.1:{port}/v1/rate"

    def bodies(self, name, texts):
        file = self.work / name
        file.write_text("".join(json.dumps({"number": "+4512345678", "body": text}) + "\n" for text in texts),
                        encoding="ascii")
        return file

    def kinds(self, texts):
        """Bodies of all messages, of one of their lengths whose rating trains, and of one whose rating does not."""
        folder, usual = self.install("probe", "delete"), [text for text in texts if 100 <= len(text) <= 160]
        found = {}
        for text in usual:
            before = self.velq("store", "dump", self.data(folder))
            subprocess.run([self.options.velq, "rate", "--quiet", "--install", folder], input=text, text=True,
                           stdout=subprocess.DEVNULL, check=True)
            found.setdefault(self.velq("store", "dump", self.data(folder)) != before, text)
            if len(found) == 2:
                break
        kinds = {"all messages": self.bodies("all.jsonl", texts)}
        for trains, text in found.items():
            name = "one that trains" if trains else "one that does not train"
            kinds[name] = self.bodies(f"{trains}.jsonl", [text])
        return kinds

    @staticmethod
    def data(folder):
        return folder / "Quenlibra/Tarvolent/data/prob.bin"

    def measure(self, texts):
        kinds = self.kinds(texts)
        for mode in ("delete", "wal"):
            for journal in (False, True):
                for kind, bodies in kinds.items():
                    for connections in self.options.connections:
                        with self.serve(mode, journal) as (process, url):
                            warm_up(lambda: wrk(url, bodies, "application/json", connections, 1))
                            self.wait_for_queue(url)
                            name = f"velq serve, {mode}, journal {'on' if journal else 'off'}, {kind}"
                            measure(name, connections, [process.pid],
                                    lambda: wrk(url, bodies, "application/json", connections, self.options.seconds))

    def turns(self, texts):
        """Two builds in turns, so that both have the same of whatever else the machine does: medians of the rounds."""
        bodies, rows = self.bodies("all.jsonl", texts), {}
        for _ in range(self.options.rounds):
            for name, program in (("before", self.options.before), ("now", self.options.velq)):
                rows.setdefault(name, []).append(self.turn(program, bodies))
        for name, figures in rows.items():
            medians = [statistics.median(column) for column in zip(*figures)]
            print(f"| {name} | " + " | ".join(f"{median:,.0f}" for median in medians[:3]) + " | " +
                  " | ".join(f"{median:.2f}" for median in medians[3:]) + " |")

    def turn(self, program, bodies):
        with self.serve("wal", False, program) as (process, url):
            connections = self.options.connections[0]
            warm_up(lambda: wrk(url, bodies, "application/json", connections, 1))
            self.wait_for_queue(url)
            before = thread_times(process.pid)
            load = wrk(url, bodies, "application/json", connections, self.options.seconds)
            each = [1e6 * (after - at) / load["requests"] for at, after in zip(before, thread_times(process.pid))]
            return load["requests"] / load["seconds"], sum(each), max(each), load["p50"], load["p99"]

    @staticmethod
    def wait_for_queue(url):
        """What asked before has gone; its requests still wait for the engine."""
        while True:
            with urllib.request.urlopen(url.replace("/v1/rate", "/metrics"), timeout=60) as answer:
                if re.search(r"^velq_queue_length 0$", answer.read().decode(), re.MULTILINE):
                    return
            time.sleep(0.1)

    def endurance(self, texts):
        with self.serve("wal", False) as (process, url):
            bodies, count = self.bodies("all.jsonl", texts), 0
            while count < self.options.requests:
                count += wrk(url, bodies, "application/json", 32, 20)["requests"]
            status = pathlib.Path(f"/proc/{process.pid}/status").read_text()
            highest = int(re.search(r"^VmHWM:\s+(\d+)", status, re.MULTILINE).group(1)) / 1024
            print(f"after {count:,} requests: {memory(process.pid):.1f} MB, highest resident {highest:.1f} MB", flush=True)


# ---- The others ---------------------------------------------------------------------------------------------------


class Spamd:
    def __init__(self, options, work):
        self.options, self.work = options, work / "spamassassin"
        self.work.mkdir()
        (self.work / "local.cf").write_text(
            f"use_bayes 1\nbayes_path {self.work}/bayes\nbayes_auto_learn 0\nbayes_auto_expire 0\nbayes_file_mode 0777\nskip_rbl_checks 1\n"
            "use_razor2 0\nuse_pyzor 0\nuse_dcc 0\n")
        for file in pathlib.Path("/etc/spamassassin").glob("*.pre"):
            shutil.copy(file, self.work)

    def train(self, messages):
        for spam in (False, True):
            folder = self.work / ("spam" if spam else "ham")
            folder.mkdir()
            for i, text in enumerate(text for is_spam, text in messages if is_spam == spam):
                (folder / str(i)).write_text(mail(text, i), encoding="utf-8")
            subprocess.run(["sa-learn", "--siteconfigpath", self.work, "--local", "--no-sync", "--spam" if spam else "--ham",
                            folder], check=True, capture_output=True)
        subprocess.run(["sa-learn", "--siteconfigpath", self.work, "--local", "--sync"], check=True, capture_output=True)
        self.work.chmod(0o777)  # it answers as a user of few rights
        for file in self.work.glob("bayes*"):
            file.chmod(0o666)

    def measure(self, texts):
        mails = [mail(text, i).encode() for i, text in enumerate(texts)]
        port = free_port()
        spamd = shutil.which("spamd") or "/usr/sbin/spamd"
        arguments = [spamd, "--siteconfigpath", self.work, "--local", "--nouser-config", "--listen", f"127.0.0.1:{port}",
                     "--max-children", os.cpu_count(), "--min-children", os.cpu_count(), "--syslog", "null"]
        with background(arguments, port, env={**os.environ, "HOME": str(self.work)}) as process:
            self.check(port, mails[:20])
            for connections in self.options.connections:
                warm_up(lambda: spamc_load(port, mails, min(connections, 8), 2))
                measure("spamd", connections, [process.pid],
                        lambda: spamc_load(port, mails, connections, self.options.seconds))


    @staticmethod
    def check(port, mails):
        """Its filter has a say."""
        asked = 0
        for text in mails:
            with socket.create_connection(("127.0.0.1", port), timeout=60) as connection:
                connection.sendall(b"SYMBOLS SPAMC/1.5\r\nContent-length: %d\r\n\r\n" % len(text) + text)
                asked += b"BAYES_" in b"".join(iter(lambda: connection.recv(65536), b""))
        print(f"spamd: {asked} of {len(mails)} answers by its Bayes filter too", flush=True, file=sys.stderr)


class Rspamd:
    def __init__(self, options, work):
        self.options, self.work = options, work / "rspamd"
        self.work.mkdir(mode=0o755)
        self.port, self.control, self.redis = free_port(), free_port(), free_port()
        # The classifier alone: none of the rules for mail, and nothing that asks the network.
        (self.work / "rspamd.conf").write_text(f"""
options {{ pidfile = "{self.work}/rspamd.pid"; filters = ""; dns {{ nameserver = ["127.0.0.1:1"]; }}
  url_tld = "/usr/share/rspamd/effective_tld_names.dat"; }}
logging {{ type = "file"; filename = "{self.work}/rspamd.log"; level = "error"; }}
lua = "{self.work}/empty.lua";
metric {{ name = "default"; actions {{ reject = 15; add_header = 6; }} group "statistics" {{
  symbol "BAYES_SPAM" {{ weight = 8; }} symbol "BAYES_HAM" {{ weight = -5; }} }} }}
worker "normal" {{ bind_socket = "127.0.0.1:{self.port}"; count = {os.cpu_count()}; }}
worker "controller" {{ bind_socket = "127.0.0.1:{self.control}"; count = 1; secure_ip = "127.0.0.1"; password = "q1"; }}
classifier "bayes" {{ tokenizer {{ name = "osb"; }} backend = "redis"; servers = "127.0.0.1:{self.redis}";
  min_tokens = 1; min_learns = 10; autolearn = false; new_schema = true; expire = 8640000;
  statfile {{ symbol = "BAYES_HAM"; spam = false; }} statfile {{ symbol = "BAYES_SPAM"; spam = true; }} }}
""")
        (self.work / "empty.lua").write_text("-- no rules\n")

    @contextlib.contextmanager
    def run(self):
        redis = ["redis-server", "--port", self.redis, "--bind", "127.0.0.1", "--save", "", "--appendonly", "no", "--dir",
                 self.work]
        rspamd = ["rspamd", "--no-fork", "--insecure", "--config", self.work / "rspamd.conf"]
        with background(redis, self.redis) as store, background(rspamd, self.port) as process:
            yield store, process

    def both(self, messages, texts):
        """Training goes over its controller, so it runs already."""
        with self.run() as (store, process):
            for spam in (False, True):
                folder = self.work / ("spam" if spam else "ham")
                folder.mkdir()
                for i, text in enumerate(text for is_spam, text in messages if is_spam == spam):
                    (folder / str(i)).write_text(mail(text, i), encoding="utf-8")
                subprocess.run(["rspamc", "--connect", f"127.0.0.1:{self.control}", "--password", "q1",
                                "learn_spam" if spam else "learn_ham", folder], check=True, capture_output=True)
            self.check([mail(text, i).encode() for i, text in enumerate(texts[:20])])
            bodies = self.work / "mails"
            bodies.write_text("".join(mail(text.replace("\\", "/"), i).replace("\n", "\\n") + "\n"
                                      for i, text in enumerate(texts)), encoding="utf-8")
            for connections in self.options.connections:
                url = f"http://127.0.0.1:{self.port}/checkv2"
                warm_up(lambda: wrk(url, bodies, "text/plain", connections, 1, lines=True))
                measure("rspamd with redis", connections, [process.pid, store.pid],
                        lambda: wrk(url, bodies, "text/plain", connections, self.options.seconds, lines=True))


    def check(self, mails):
        """Its filter has a say."""
        asked = 0
        for text in mails:
            with urllib.request.urlopen(f"http://127.0.0.1:{self.port}/checkv2", data=text, timeout=60) as answer:
                asked += "BAYES_" in answer.read().decode()
        print(f"rspamd: {asked} of {len(mails)} answers by its Bayes filter", flush=True, file=sys.stderr)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--velq", required=True)
    parser.add_argument("--messages", type=int, default=3000, help="of each label, at most (3000)")
    parser.add_argument("--seconds", type=int, default=5, help="of each measurement (5)")
    parser.add_argument("--connections", type=int, nargs="+", default=[1, 32, 256])
    parser.add_argument("--requests", type=int, default=1_000_000, help="of --only endurance (1000000)")
    parser.add_argument("--only", nargs="+", default=["velq", "spamd", "rspamd"],
                        choices=["velq", "spamd", "rspamd", "endurance"])
    parser.add_argument("--before", help="another build of velq: both in turns, and nothing else")
    parser.add_argument("--rounds", type=int, default=5, help="of --before (5)")
    parser.add_argument("corpus", nargs="+", metavar="MESSAGES.tsv")
    options = parser.parse_args()
    messages = read_messages(options.corpus, options.messages)
    asked = [text for _, text in messages[::3]]
    training = [message for i, message in enumerate(messages) if i % 3]
    print(f"{len(training)} messages train, {len(asked)} are asked about; {os.cpu_count()} processors\n")
    if options.before:
        print("| | requests/s | processor us | of the engine's thread | p50 ms | p99 ms |\n|---|---|---|---|---|---|",
              flush=True)
        options.only = []
    else:
        print("| | connections | requests/s | processor us | p50 ms | p99 ms | p99.9 ms | MB | failed |\n"
              "|---|---|---|---|---|---|---|---|---|", flush=True)
    with tempfile.TemporaryDirectory(prefix="velq-bench-") as name:
        work = pathlib.Path(name)
        work.chmod(0o755)
        if options.before:
            velq = Velq(options, work)
            velq.train(training)
            velq.turns(asked)
        if "velq" in options.only or "endurance" in options.only:
            velq = Velq(options, work)
            velq.train(training)
            if "velq" in options.only:
                velq.measure(asked)
            if "endurance" in options.only:
                velq.endurance(asked)
        if "spamd" in options.only:
            spamd = Spamd(options, work)
            spamd.train(training)
            spamd.measure(asked)
        if "rspamd" in options.only:
            Rspamd(options, work).both(training, asked)


if __name__ == "__main__":
    main()
