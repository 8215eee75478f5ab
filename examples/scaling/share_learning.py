#!/usr/bin/env python3
"""Lets instances of velq serve learn from each other: one run collects what each has learned since the last, and gives
every instance what the others have.

    share_learning.py --state FOLDER --base prob.bin --instance NAME STORE URL --instance NAME STORE URL ...

STORE is the instance's prob.bin, or a dump of it that was just made: velq store dump. URL is where it answers.
--base is the store that all were laid out with; only the first run needs it. Runs do not overlap, and one that was
ended in the middle is gone on with by the next. An instance that does not answer catches up later.

The folder of the state holds a folder for the latest round: total.txt, what the base and all that was learned come to,
and for each instance NAME.known.txt, the highest counts that it was seen with, and NAME.owed.txt, what it is to get;
NAME.update and NAME.on-arrival.txt, its counts then, stay while an update is on its way. They hold counts of tokens, as a store does.
"""

import argparse
import fcntl
import json
import pathlib
import re
import shutil
import subprocess
import sys
import urllib.error
import urllib.request

LONGEST = 60  # seconds for an answer


class LeftOut(Exception):
    """An instance takes no part in this run, with the reason."""


# ---- Counts -------------------------------------------------------------------------------------------------------

# By the part of the text form that a line stands in and its first field: the messages, or a token.


def read_lines(path):
    """Each line of a store as text with its key and counts; None for both where a line has none."""
    part = "head"
    for line in pathlib.Path(path).read_text(encoding="utf-8").split("\n"):
        fields = line.split("\t")
        counted = len(fields) >= 3 and all(re.fullmatch("[0-9]+", field) for field in fields[1:3])
        yield line, *(((part, fields[0]), (int(fields[1]), int(fields[2]))) if counted else (None, None))
        part = "token" if line == "tokens" else part


def read_counts(path):
    return {key: counts for _, key, counts in read_lines(path) if key is not None}


def write_counts(path, counts):
    def lines(part):
        return [f"{key}\t{spam}\t{ham}" for (of, key), (spam, ham) in sorted(counts.items()) if of == part]
    text = ["velq-store 1", *lines("head"), "tokens", *lines("token"), "end", ""]
    pathlib.Path(path).write_text("\n".join(text), encoding="utf-8")


def write_sum(store, added, path):
    """The store with counts added; what else stands in it stays."""
    lines, left = [], dict(added)
    for line, key, _ in read_lines(store):
        more = left.pop(key, None)
        if more is not None:
            fields = line.split("\t")
            fields[1:3] = [str(int(old) + new) for old, new in zip(fields[1:3], more)]
            line = "\t".join(fields)
        if line == "end":
            lines += [f"{token}\t{spam}\t{ham}" for (part, token), (spam, ham) in left.items() if part == "token"]
        lines.append(line)
    pathlib.Path(path).write_text("\n".join(lines), encoding="utf-8")


def add(to, counts):
    for key, (spam, ham) in counts.items():
        before = to.get(key, (0, 0))
        to[key] = (before[0] + spam, before[1] + ham)


def gained(now, before):
    """What is above the counts before. What fell is left out: no update can take anything away."""
    gains = {}
    for key, counts in now.items():
        gain = tuple(max(0, a - b) for a, b in zip(counts, before.get(key, (0, 0))))
        if any(gain):
            gains[key] = gain
    return gains


# ---- Instances ----------------------------------------------------------------------------------------------------


class Instance:
    def __init__(self, name, store, url, token):
        if not re.fullmatch(r"[A-Za-z0-9_-]+", name):
            raise SystemExit(f"share_learning: {name} is no name; take letters and digits")
        self.name, self.store, self.url, self.token = name, store, url.rstrip("/"), token

    def ask(self, path, body=None):
        """Status and answer."""
        request = urllib.request.Request(self.url + path, data=body)
        if self.token:
            request.add_header("Authorization", "Bearer " + self.token)
        if body is not None:
            request.add_header("Content-Type", "application/octet-stream")
        try:
            with urllib.request.urlopen(request, timeout=LONGEST) as answer:
                return answer.status, json.load(answer)
        except urllib.error.HTTPError as error:
            with error:
                return error.code, json.load(error) if "json" in error.headers.get("Content-Type", "") else {}
        except (OSError, ValueError) as error:
            raise LeftOut(str(error)) from error

    def version(self):
        status, answer = self.ask("/v1/versions")
        if status != 200:
            raise LeftOut(str(answer.get("detail", status)))
        return answer["probability"]

    def update(self, file, order):
        """Gives it an update, once: `order` holds the version that it is given as."""
        while True:
            if not order.exists():
                order.write_text(str(self.version() + 1), encoding="utf-8")
            version = order.read_text(encoding="utf-8")
            target = "/v1/updates?kind=probability&version=" + version
            status, answer = self.ask(target, file.read_bytes())
            detail = str(answer.get("detail", status))
            if status == 409 and f"merged already, as version {version} " in detail:
                return  # by a run that did not see the answer
            if status == 409 and "is installed, and" in detail:
                order.unlink()  # it got another update meanwhile
                continue
            if status == 409 and "merged already" in detail and "would ruin" not in detail:
                status, answer = self.ask(target + "&force=true", file.read_bytes())  # the same was learned again
                detail = str(answer.get("detail", status))
            if status != 200:
                raise LeftOut(detail)
            return


# ---- Rounds -------------------------------------------------------------------------------------------------------


class Rounds:
    """The folder of the state. A round is there as a whole or not at all."""

    def __init__(self, folder, velq):
        self.folder, self.velq = pathlib.Path(folder), velq
        self.folder.mkdir(parents=True, exist_ok=True)

    def numbers(self):
        return sorted(int(entry.name[6:]) for entry in self.folder.glob("round-*") if entry.name[6:].isdigit())

    def path(self, number):
        return self.folder / f"round-{number}"

    def new_folder(self):
        new = self.folder / "new"
        shutil.rmtree(new, ignore_errors=True)
        new.mkdir()
        return new

    def run(self, *arguments):
        subprocess.run([self.velq, *map(str, arguments)], check=True, stdout=subprocess.DEVNULL)

    def dump(self, store, output):
        """A store as text, whichever form it has."""
        try:
            with pathlib.Path(store).open("rb") as file:
                is_text = file.read(10) == b"velq-store"
            if is_text:
                shutil.copy(store, output)
            else:
                self.run("store", "dump", "--quiet", store, "-o", output)
        except (OSError, subprocess.CalledProcessError) as error:
            raise LeftOut(f"its store cannot be read: {error}") from error

    def begin(self, base):
        """The number of the latest round; of a first one where there is none."""
        if not self.numbers():
            if base is None:
                raise SystemExit("share_learning: the first run needs --base, the store that all were laid out with")
            new = self.new_folder()
            try:
                self.dump(base, new / "base.txt")
            except LeftOut as error:
                raise SystemExit(f"share_learning: {base}: {error}") from error
            write_counts(new / "total.txt", read_counts(new / "base.txt"))
            new.rename(self.path(0))
        latest = self.numbers()[-1]
        for number in self.numbers()[:-1]:
            shutil.rmtree(self.path(number))
        return latest

    def deliver(self, number, instance):
        """Gives an instance the update that is on its way to it."""
        update, order, on_arrival = (self.path(number) / f"{instance.name}.{part}"
                                     for part in ("update", "version", "on-arrival.txt"))
        if not on_arrival.exists():
            return
        instance.update(update, order)
        on_arrival.replace(self.path(number) / f"{instance.name}.known.txt")  # from here on it has arrived
        update.unlink()
        order.unlink()

    def collect(self, number, instances, each):
        """A new round with what these instances have learned, and updates for them. Returns those that could be read."""
        new = self.new_folder()
        shutil.copytree(self.path(number), new, dirs_exist_ok=True)
        total, base = read_counts(new / "total.txt"), read_counts(new / "base.txt")
        known, owed, gains = {}, {}, {}
        for file in new.glob("*.known.txt"):
            name = file.name.removesuffix(".known.txt")
            known[name], owed[name] = read_counts(file), read_counts(new / f"{name}.owed.txt")
        for instance in instances:
            if instance.name not in known:  # a new one is owed all that was ever learned
                known[instance.name], owed[instance.name] = dict(base), gained(total, base)
        taken = each(instances, lambda instance: self.dump(instance.store, new / f"{instance.name}.now"))
        for name in (instance.name for instance in taken):
            gains[name] = gained(read_counts(new / f"{name}.now"), known[name])
            add(known[name], gains[name])
            add(total, gains[name])
        for to, counts in owed.items():
            for name, gain in gains.items():
                if name != to:
                    add(counts, gain)
        for name in (instance.name for instance in taken if owed[instance.name]):
            self.make_update(new, name, known[name], owed[name])
            owed[name] = {}  # the update has it now
        write_counts(new / "total.txt", total)
        for name in known:
            write_counts(new / f"{name}.known.txt", known[name])
            write_counts(new / f"{name}.owed.txt", owed[name])
        for file in new.glob("*.now"):
            file.unlink()
        new.rename(self.path(number + 1))
        return taken

    def make_update(self, new, name, known, owed):
        now, then, arrived = new / f"{name}.now", new / "then.txt", new / "arrived.txt"
        write_sum(now, owed, then)
        self.run("store", "diff", "--quiet", now, then, "-o", new / f"{name}.update", "--merged", arrived)
        if read_counts(arrived) != read_counts(then):
            raise SystemExit(f"share_learning: the update for {name} would not bring what it is owed")
        then.unlink()
        arrived.unlink()
        on_arrival = dict(known)
        add(on_arrival, owed)
        write_counts(new / f"{name}.on-arrival.txt", on_arrival)


def share(rounds, base, instances):
    """One run. Returns those that were left out, with the reasons."""
    left_out = {}

    def each(some, act):
        """Those with which it went well."""
        done = []
        for instance in some:
            try:
                act(instance)
                done.append(instance)
            except LeftOut as reason:
                left_out[instance.name] = str(reason)
        return done

    number = rounds.begin(base)
    ready = each(instances, lambda instance: (rounds.deliver(number, instance), instance.version()))
    taken = rounds.collect(number, ready, each)
    each(taken, lambda instance: rounds.deliver(number + 1, instance))
    return left_out


def main():
    parser = argparse.ArgumentParser(description="Lets instances of velq serve learn from each other")
    parser.add_argument("--state", required=True, metavar="FOLDER")
    parser.add_argument("--base", metavar="STORE", help="the store that all were laid out with")
    parser.add_argument("--instance", required=True, nargs=3, action="append", metavar=("NAME", "STORE", "URL"))
    parser.add_argument("--token-file", metavar="FILE")
    parser.add_argument("--velq", default="velq", metavar="PROGRAM")
    options = parser.parse_args()
    token = ""
    if options.token_file:
        token = pathlib.Path(options.token_file).read_text(encoding="ascii").split("\n")[0]
    instances = [Instance(*given, token) for given in options.instance]
    if len({instance.name for instance in instances}) != len(instances):
        raise SystemExit("share_learning: two instances have one name")
    rounds = Rounds(options.state, options.velq)
    with (rounds.folder / "lock").open("w") as lock:
        try:
            fcntl.flock(lock, fcntl.LOCK_EX | fcntl.LOCK_NB)
        except BlockingIOError:
            raise SystemExit("share_learning: another run is at work") from None
        left_out = share(rounds, options.base, instances)
    for name, reason in left_out.items():
        print(f"share_learning: {name} is left out: {reason}", file=sys.stderr)
    return 1 if left_out else 0


if __name__ == "__main__":
    sys.exit(main())
