#!/usr/bin/env python3
"""What learning does to a token store: verdicts that train, messages of white-listed senders, and corrections.

Usage: scripts/learning-figures.py STORE FOLDER [--velq build/bin/velq] [--messages 2000] [--wrong 25]

FOLDER holds files of labelled messages, label-tab-text (.tsv), one for each source; without it the script says so and ends
with status 0. Figures are percentages of a class: ham blocked / ham left unsure / spam caught.

- verdicts: the first messages of each source, training off, and on in the order of the file; then the first thousand of one
  source before another;
- white list: every second message of each source, after a thousand and two thousand ham messages of one source that came
  from a white-listed sender, one of the others (odd lines train, even ones are rated);
- corrections: of the first messages of each source some that are rated wrongly, each corrected three times on a store of
  its own: how many are then no longer blocked, or caught.

Where the store was made of these messages only the differences tell. Needs nothing but Python and the velq command.
"""
import argparse
import json
import shutil
import tempfile
from pathlib import Path

from figures import STORE_FILE, run, shares, shown

SENDER = "15550100200"


def lines_of(file):
    return [line for line in file.read_text(encoding="utf-8").split("\n") if "\t" in line]


def written(lines, file):
    file.write_text("\n".join(lines) + "\n", encoding="utf-8")
    return file


def texts_of(lines, label):
    return [line.split("\t", 1)[1] for line in lines if line.startswith(label + "\t")]


def evaluated(velq, store, files):
    """The figures of the last file, training off and on."""
    report = json.loads(run(velq, "evaluate", "--json", "--quiet", "--store", store, *files))
    return [shown(shares(report[training]["corpora"][-1])) for training in ("trainingOff", "trainingOn")]


def verdicts(velq, store, sources, most, work):
    for name, lines in sources.items():
        off, on = evaluated(velq, store, [written(lines[:most], work / f"{name}.tsv")])
        print(f"{name:24} {off:24} -> {on}")
    for first in ("tr_2015", "zh_adverts"):
        for name in ("en_uci", "vi_2025", "id_2016"):
            if first in sources and name in sources:
                files = [written(sources[first][:1000], work / f"{first}.tsv"),
                         written(sources[name], work / f"{name}.tsv")]
                off, on = evaluated(velq, store, files)
                print(f"{first + ' before ' + name:24} {off:24} -> {on}")


def white_list(velq, store, sources, work):
    rated = {name: written(lines[1::2], work / f"rated-{name}.tsv") for name, lines in sources.items()
             if name in ("en_uci", "tr_2015", "zh_general", "en_india2011")}
    untrained = {name: evaluated(velq, store, [file])[0] for name, file in rated.items()}
    for name, lines in sources.items():
        ham = texts_of(lines[0::2], "ham")
        installation = work / f"white-{name}"
        run(velq, "init", installation, "--store", store, "--quiet")
        run(velq, "list", "white", "add", "--install", installation, SENDER, "--quiet")
        for end in (1000, 2000):
            if len(ham) < end:
                break
            run(velq, "rate", "--install", installation, "--number", SENDER, "--quiet",
                text="\n".join(ham[end - 1000:end]) + "\n")
            for other, file in rated.items():
                trained = evaluated(velq, installation / STORE_FILE, [file])[0]
                print(f"{f'{end} of {name}, {other}':34} {untrained[other]:24} -> {trained}")


def corrections(velq, store, sources, most, most_wrong, work):
    """By label: how many of the wrongly rated ones came right, and how many there were."""
    clean, corrected = work / "clean", work / "corrected"
    run(velq, "init", clean, "--store", store, "--quiet")
    right = {"ham": [0, 0], "spam": [0, 0]}

    def is_wrong(rated, label):
        return (rated.split("\t", 1)[0] == "spam") == (label == "ham")

    for lines in sources.values():
        rated = run(velq, "rate", "--dry-run", "--install", clean, "--quiet",
                    text="\n".join(line.split("\t", 1)[1] for line in lines[:most]) + "\n").split("\n")
        for label, counts in right.items():
            wrong = [line.split("\t", 1)[1] for line, verdict in zip(lines, rated)
                     if line.startswith(label + "\t") and is_wrong(verdict, label)]
            for text in wrong[:most_wrong]:
                shutil.rmtree(corrected, ignore_errors=True)
                shutil.copytree(clean, corrected)
                for _ in range(3):
                    run(velq, "mark", label, "--install", corrected, "--quiet", text=text + "\n")
                verdict = run(velq, "rate", "--dry-run", "--install", corrected, "--quiet", text=text + "\n")
                counts[0] += not is_wrong(verdict, label)
                counts[1] += 1
    for label, (good, of) in right.items():
        print(f"{label}: {good} of {of}")


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("store", type=Path)
    parser.add_argument("folder", type=Path)
    parser.add_argument("--velq", type=Path, default=Path("build/bin/velq"))
    parser.add_argument("--messages", type=int, default=2000)
    parser.add_argument("--wrong", type=int, default=25)
    options = parser.parse_args()
    sources = {file.stem: lines_of(file) for file in sorted(options.folder.glob("*.tsv"))}
    if not sources:
        print(f"skipped: {options.folder} holds no .tsv files of labelled messages")
        return
    with tempfile.TemporaryDirectory() as name:
        work = Path(name)
        store = work / "prob.bin"
        if options.store.suffix == ".txt":
            run(options.velq, "store", "load", "--quiet", options.store, "-o", store)
        else:
            shutil.copy(options.store, store)
        print("== verdicts")
        verdicts(options.velq, store, sources, options.messages, work)
        print("== white list")
        white_list(options.velq, store, sources, work)
        print("== corrections")
        corrections(options.velq, store, sources, options.messages, options.wrong, work)


if __name__ == "__main__":
    main()
