#!/usr/bin/env python3
"""What an update does to a filter: figures of a new store beside those of installations of an old one that were brought
to it by an update, untouched and after 2,000 messages.

Usage: scripts/update-figures.py OLD NEW FOLDER [--stand-ins FILE] [--velq build/bin/velq] [--messages 2000]

FOLDER holds files of labelled messages, label-tab-text (.tsv), one for each source. Half of each file's texts, drawn by
their hashes, may be learned from: without --stand-ins, what the tokens that are to go shall carry is learned from them.
Of the other half, 2,000 messages spread over the files train the installations, and at most 1,000 of each file are rated.
Without the folder the script says so and ends with status 0. Figures are percentages of a class: ham blocked / ham left
unsure / spam caught. Needs nothing but Python and the velq command.
"""
import argparse
import hashlib
import json
import tempfile
from pathlib import Path

from figures import STORE_FILE, run, shares, shown

MOST_RATED = 1000  # of each file


def split(folder, work, trained):
    """Writes what may be learned from and what is rated, file by file; returns both lists of files and the messages
    that train."""
    learn, rated, rests = [], [], []
    for file in sorted(folder.glob("*.tsv")):
        lines = sorted(set(file.read_text(encoding="utf-8").split("\n")) - {""},
                       key=lambda line: hashlib.sha256(line.encode()).digest())
        halves = {"learn": lines[0::2], "rate": lines[1::2][:MOST_RATED]}
        rests.append(lines[1::2][MOST_RATED:] or lines[1::2][-len(lines) // 8:])
        for part, files in (("learn", learn), ("rate", rated)):
            target = work / part / file.name
            target.parent.mkdir(exist_ok=True)
            keep = halves[part] if part == "learn" or len(lines[1::2]) > MOST_RATED else halves[part][:-len(lines) // 8]
            target.write_text("\n".join(keep) + "\n", encoding="utf-8")
            files.append(target)
    training = []
    while len(training) < trained and any(rests):  # one of each file in turn
        for rest in rests:
            if rest and len(training) < trained:
                training.append(rest.pop())
    return learn, rated, training


def figures(velq, store, rated):
    report = json.loads(run(velq, "evaluate", "--json", "--quiet", "--store", store, *rated))
    parts = {Path(part["file"]).stem: part for part in report["trainingOff"]["corpora"]}
    parts["all"] = report["trainingOff"]
    result = {}
    for name, part in parts.items():
        result[name] = shares(part)
    with_both = [values for name, values in result.items() if name != "all"]
    result["mean"] = tuple(sum(column) / len(column) if column else None
                           for column in ([v for v in values if v is not None] for values in zip(*with_both)))
    return result


def installation(velq, work, name, store, training, told):
    """One that was trained: by its own verdicts, or told the label of each message; the path of its token store."""
    folder = work / name
    run(velq, "init", folder, "--store", store, "--quiet")
    if told:
        for label in ("ham", "spam"):
            texts = [line.split("\t", 1)[1] for line in training if line.startswith(label + "\t")]
            run(velq, "mark", label, "--install", folder, "--quiet", text="\n".join(texts) + "\n")
    elif training:
        run(velq, "rate", "--install", folder, "--quiet",
            text="\n".join(line.split("\t", 1)[1] for line in training) + "\n")
    return folder


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("old", type=Path)
    parser.add_argument("new", type=Path)
    parser.add_argument("folder", type=Path)
    parser.add_argument("--stand-ins", type=Path)
    parser.add_argument("--velq", type=Path, default=Path("build/bin/velq"))
    parser.add_argument("--messages", type=int, default=2000)
    options = parser.parse_args()
    if not any(options.folder.glob("*.tsv")):
        print(f"skipped: {options.folder} holds no .tsv files of labelled messages")
        return
    with tempfile.TemporaryDirectory() as name:
        work = Path(name)
        learn, rated, training = split(options.folder, work, options.messages)
        stand_ins = options.stand_ins or work / "stand-ins.txt"
        if not options.stand_ins:
            run(options.velq, "store", "stand-ins", options.old, options.new, *learn, "-o", stand_ins, "--quiet")
        update = work / "update.db"
        run(options.velq, "store", "diff", options.old, options.new, "--stand-ins", stand_ins, "-o", update, "--quiet")
        columns = {"new store": figures(options.velq, options.new, rated)}
        for title, store, messages, told in (
                ("updated", options.old, [], False), ("trained, updated", options.old, training, False),
                ("told, updated", options.old, training, True), ("new, trained", options.new, training, False),
                ("new, told", options.new, training, True)):
            folder = installation(options.velq, work, title.replace(", ", "-"), store, messages, told)
            if store == options.old:
                run(options.velq, "update", "--install", folder, "--prob", update, "--prob-version", "1000", "--quiet")
            columns[title] = figures(options.velq, folder / STORE_FILE, rated)
        print(f"{len(training)} messages train; ham blocked / ham unsure / spam caught, in percent")
        print(f"{'':18}" + "".join(f"{title:>24}" for title in columns))
        for source in columns["new store"]:
            print(f"{source:18}" + "".join(f"{shown(values[source]):>24}" for values in columns.values()))


if __name__ == "__main__":
    main()
