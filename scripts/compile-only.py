#!/usr/bin/env python3
"""Compiles the files of a configured build without making code, as many at a time as there are processors, and prints
what the compiler says. Status 1 when a file does not compile. Files that are named are left out.
Usage: compile-only.py BUILD_FOLDER [FILE...]"""

import json
import os
import shlex
import subprocess
import sys
from concurrent.futures import ThreadPoolExecutor


def compile_only(entry):
    command = shlex.split(entry["command"])
    at = command.index("-o")
    command[at : at + 2] = ["-fsyntax-only"]
    return subprocess.run(
        command, cwd=entry["directory"], stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, check=False
    )


def main():
    with open(os.path.join(sys.argv[1], "compile_commands.json"), encoding="utf-8") as database:
        left_out = {os.path.abspath(file) for file in sys.argv[2:]}
        entries = [entry for entry in json.load(database) if entry["file"] not in left_out]
    failed = 0
    with ThreadPoolExecutor(os.cpu_count()) as pool:
        for entry, result in zip(entries, pool.map(compile_only, entries)):
            sys.stdout.write(result.stdout)
            if result.returncode != 0:
                print("does not compile:", entry["file"])
                failed += 1
    print(len(entries), "files,", failed, "failed")
    return 1 if failed or not entries else 0


if __name__ == "__main__":
    sys.exit(main())
