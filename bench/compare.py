#!/usr/bin/env python3
"""Prints what compare.sh measured: for each row both medians and their ratio; the ratio within the rounds and its spread.

Usage: compare.py real|cpu FOLDER. The folder holds Google Benchmark's files old-ROUND-ROW.json and new-ROUND-ROW.json,
with numbers for round and row.
"""
import json
import math
import pathlib
import statistics
import sys

NANOSECONDS = {"ns": 1, "us": 1e3, "ms": 1e6, "s": 1e9}


def times_of(folder: pathlib.Path, build: str, clock: str) -> dict[str, list[float]]:
    """The nanoseconds of each row in the order of the rounds; rows in the order in which they ran."""
    times: dict[str, list[float]] = {}
    for file in sorted(folder.glob(f"{build}-*.json"), key=lambda file: [int(part) for part in file.stem.split("-")[1:]]):
        for run in json.loads(file.read_text())["benchmarks"]:
            if run.get("error_occurred"):
                sys.exit(f"compare.py: {run['name']} failed: {run['error_message']}")
            times.setdefault(run["name"], []).append(run[f"{clock}_time"] * NANOSECONDS[run["time_unit"]])
    return times


def rounds_left_out(rounds: int) -> int:
    """How many rounds may be left out at either end so that the rest spans the true median 19 times in 20.

    A round lies above the true median as often as below, so that the count of those below is that of heads in as many
    throws. Takes six rounds at least.
    """
    left_out = 0
    while 2 * sum(math.comb(rounds, heads) for heads in range(left_out + 2)) <= 0.05 * 2**rounds:
        left_out += 1
    return left_out


def shown(nanoseconds: float) -> str:
    for unit in ("s", "ms", "us"):
        if nanoseconds >= NANOSECONDS[unit]:
            return f"{nanoseconds / NANOSECONDS[unit]:.4g} {unit}"
    return f"{nanoseconds:.4g} ns"


def line_of(row: str, old: list[float], new: list[float]) -> str:
    medians = statistics.median(old), statistics.median(new)
    ratios = sorted(after / before for before, after in zip(old, new, strict=True))
    left_out = rounds_left_out(len(ratios))
    low, high = ratios[left_out], ratios[-1 - left_out]
    verdict = "slower" if low > 1 else "faster" if high < 1 else ""
    return (f"| {row} | {shown(medians[0])} | {shown(medians[1])} | {medians[1] / medians[0]:.3f} "
            f"| {statistics.median(ratios):.3f} | {low:.3f} to {high:.3f} | {verdict} |")


def main(clock: str, folder: pathlib.Path) -> None:
    old, new = (times_of(folder, build, clock) for build in ("old", "new"))
    print(f"| row ({clock} time) | old | new | ratio | by rounds | spread | |\n|---|---|---|---|---|---|---|")
    for row, times in old.items():
        print(line_of(row, times, new[row]))


main(sys.argv[1], pathlib.Path(sys.argv[2]))
