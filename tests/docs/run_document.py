#!/usr/bin/env python3
"""Runs a document: every command of its console blocks, in order, in one shell, and compares what they print.

Usage: run_document.py [--write] DOCUMENT SOURCE_DIR BUILD_DIR [CMAKE]

A console block is one that begins with ```console. In it a line that begins with "$ " is a command (and goes on in lines
that begin with "> "), and the lines below are all that it prints, on either stream. There

    ...     within a line stands for any part of a line: a time, a figure of this machine
    ...     alone on a line stands for any lines

A command has to end with status 0, unless the next command is `echo $?`, which then shows the status. A block below
<!-- not run: WHY --> is left out.

The shell starts in an empty home folder. In it `velq-source` is the tree, where `build-install` is the build folder that was
given, as it would be after the commands that build it. Port 8125 is replaced by one that is free, and `sudo` by a stand-in
for the few commands that are run by it here, below the folder `system`. --write puts what the commands print into the document; `...` stays where it holds.
"""
import os
import pathlib
import re
import shlex
import signal
import socket
import subprocess
import sys
import tempfile

LONGEST = 120  # seconds for a document
PORT = "8125"
NOT_RUN = re.compile(r"<!-- not run: .+ -->")

STAND_IN_FOR_SUDO = """#!/bin/sh
case $1 in
  cmake) DESTDIR=$HOME/system exec "$@" ;;
  ldconfig) exec /sbin/ldconfig -n "$HOME/system/usr/local/lib" ;;
  xargs) sed "s|^|$HOME/system|" | "$@" ;;
  *) echo "sudo: no stand-in for $1" >&2; exit 1 ;;
esac
"""


class Step:
    """A command, where it stands, and the lines that the document shows below it."""

    def __init__(self, line, command):
        self.line, self.command, self.shown, self.printed = line, command, [], None


def read_steps(text):
    """The commands of the document's console blocks."""
    steps, inside, left_out, before = [], False, False, ""
    for number, line in enumerate(text.split("\n"), 1):
        if not inside and line == "```console":
            inside, left_out = True, NOT_RUN.fullmatch(before) is not None
        elif inside and line == "```":
            inside = False
        elif inside and not left_out:
            if line.startswith("$ "):
                steps.append(Step(number, line[2:]))
            elif line.startswith("> ") and steps and not steps[-1].shown:
                steps[-1].command += "\n" + line[2:]
            elif steps:
                steps[-1].shown.append(line)
            else:
                raise SystemExit(f"line {number}: output before the first command")
        before = line
    return steps


def pattern(shown):
    """What the shown lines allow to be printed."""
    parts = []
    for line in shown:
        if line == "...":
            parts.append(r"(?:.*\n)*?")
        else:
            parts.append(".*?".join(re.escape(piece) for piece in line.split("...")) + r"\n")
    return re.compile("".join(parts))


def matches(shown, printed):
    return pattern(shown).fullmatch("".join(line + "\n" for line in printed)) is not None


def label(line):
    """What a line of figures begins with."""
    return re.split(r"\s{2,}|\t|\d", line.strip())[0]


def rewritten(shown, printed):
    """The printed lines as the document shows them: `...` stays where it can."""
    if matches(shown, printed):
        return shown
    if "..." not in shown:
        alike = len(shown) == len(printed)
        return [shown[index] if alike and matches([shown[index]], [line]) else line for index, line in enumerate(printed)]
    result, position = [], 0
    for line in shown:
        if line != "...":
            later = range(position, len(printed))
            found = next((at for at in later if matches([line], [printed[at]])), None)
            if found is None:
                found = next((at for at in later if label(printed[at]) == label(line)), None)
                line = printed[found] if found is not None else None
            position = position if found is None else found + 1
        if line is not None:
            result.append(line)
    return result


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return str(probe.getsockname()[1])


def lay_out_home(home, source, build, cmake):
    """The tree as a reader has it, and the commands that are stood in for; returns the search path."""
    tree = home / "velq-source"
    tree.mkdir()
    for entry in source.iterdir():
        if not entry.name.startswith((".", "build")):
            (tree / entry.name).symlink_to(entry)
    (tree / "build-install").symlink_to(build)
    programs = home / ".programs"
    programs.mkdir()
    (programs / "sudo").write_text(STAND_IN_FOR_SUDO, encoding="utf-8")
    (programs / "sudo").chmod(0o755)
    (programs / "cmake").symlink_to(cmake)
    return f"{programs}:/usr/local/bin:/usr/bin:/bin:/usr/sbin:/sbin"


def run(steps, home, search_path):
    """Runs the commands in one shell and notes what each printed. Returns the shell's own words where it broke off."""
    mark = "=====" + os.urandom(8).hex()
    port = free_port()
    script = ["exec 2>&1", "velq_status=0"]
    for index, step in enumerate(steps):
        script.append(f"(exit $velq_status)\n{step.command.replace(PORT, port)}\nvelq_status=$?\n"
                      f"printf '\\n%s %s %s\\n' {mark} {index} $velq_status")
    environment = {"HOME": str(home), "PATH": search_path, "LC_ALL": "C.UTF-8", "TMPDIR": str(home / ".temporary"),
                   "PIP_ROOT_USER_ACTION": "ignore", "PIP_DISABLE_PIP_VERSION_CHECK": "1"}
    (home / ".temporary").mkdir()
    output = home / ".output"
    with output.open("wb") as sink:
        shell = subprocess.Popen(["bash", "-c", "\n".join(script)], cwd=home, env=environment, stdin=subprocess.DEVNULL,
                                 stdout=sink, stderr=sink, start_new_session=True)
        try:
            shell.wait(LONGEST)
        except subprocess.TimeoutExpired:
            pass
        finally:
            try:
                os.killpg(shell.pid, signal.SIGKILL)  # what a document left running
            except ProcessLookupError:
                pass
            shell.wait()
    text = output.read_text(encoding="utf-8", errors="replace").replace(str(home), "/home/you").replace(port, PORT)
    for index, step in enumerate(steps):
        found = re.search(rf"\n{mark} {index} (\d+)\n", text)
        if not found:
            return text
        printed = text[:found.start()]
        step.printed = printed.removesuffix("\n").split("\n") if printed else []
        step.status, text = int(found[1]), text[found.end():]
    return ""


def faults(steps, rest):
    """What does not hold, as messages."""
    for index, step in enumerate(steps):
        if step.printed is None:
            yield f"line {step.line}: {step.command}: ended the shell, or was not reached within {LONGEST} seconds; printed:\n{rest}"
            return
        shows_status = index + 1 < len(steps) and steps[index + 1].command == "echo $?"
        if step.status != 0 and not shows_status:
            yield f"line {step.line}: {step.command}: status {step.status}\n" + "\n".join(step.printed)
        elif not matches(step.shown, step.printed):
            yield "\n".join([f"line {step.line}: {step.command}", "shown:", *step.shown, "printed:", *step.printed])


def write(document, text, steps):
    lines = text.split("\n")
    for step in reversed(steps):
        begin = step.line + step.command.count("\n")
        lines[begin:begin + len(step.shown)] = rewritten(step.shown, step.printed)
    document.write_text("\n".join(lines), encoding="utf-8")


def main(arguments):
    writes = "--write" in arguments
    document, source, build, *cmake = [pathlib.Path(word).resolve() for word in arguments if word != "--write"]
    text = document.read_text(encoding="utf-8")
    steps = read_steps(text)
    with tempfile.TemporaryDirectory() as folder:
        home = pathlib.Path(folder).resolve()
        rest = run(steps, home, lay_out_home(home, source, build, cmake[0] if cmake else "/usr/bin/cmake"))
    if writes and all(step.printed is not None for step in steps):
        write(document, text, steps)
        steps = read_steps(document.read_text(encoding="utf-8"))
        print(f"{len(steps)} commands run, their output written to {shlex.quote(str(document))}")
        return 0
    found = list(faults(steps, rest))
    print("\n\n".join(found), end="\n\n" if found else "")
    print(f"{len(steps)} commands run, {len(found)} do not print what {document.name} shows")
    return 1 if found or not steps else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
