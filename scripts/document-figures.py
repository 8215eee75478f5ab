#!/usr/bin/env python3
"""Writes figures by source into documents, from what `velq evaluate --json` printed.

Usage: scripts/document-figures.py REPORT.json NAME DOCUMENT...

In each document the lines between <!-- figures: NAME --> and <!-- end of figures --> become a table of the report's sources:
messages of each class, ham blocked, ham left unsure and spam caught in percent, training off. Needs nothing but Python.
"""
import json
import sys
from pathlib import Path

END = "<!-- end of figures -->"


def percent(count, of):
    """Two digits, of which at least one stands before the point; nothing where there are no messages."""
    if not of:
        return ""
    share = 100 * count / of
    return "0" if count == 0 else f"{share:.2f}" if share < 1 else f"{share:.1f}"


def table(report):
    lines = ["| source | ham | spam | ham blocked | ham unsure | spam caught |", "|---|---|---|---|---|---|"]
    for part in report["trainingOff"]["corpora"]:
        ham, spam = part["ham"], part["spam"]
        cells = (Path(part["file"]).stem, ham["all"], spam["all"], percent(ham["ratedSpam"], ham["all"]),
                 percent(ham["ratedUnsure"], ham["all"]), percent(spam["ratedSpam"], spam["all"]))
        lines.append("| " + " | ".join(map(str, cells)) + " |")
    return lines


def filled(text, name, lines):
    """The document with the table, or None where it has no place for it."""
    begin = f"<!-- figures: {name} -->\n"
    start = text.find(begin)
    end = text.find(END, start)
    if start < 0 or end < 0:
        return None
    return text[:start + len(begin)] + "\n".join(lines) + "\n" + text[end:]


def main(report, name, *documents):
    lines = table(json.loads(Path(report).read_text(encoding="utf-8")))
    for document in map(Path, documents):
        text = filled(document.read_text(encoding="utf-8"), name, lines)
        if text is None:
            sys.exit(f"{document} has no lines <!-- figures: {name} --> and {END}")
        document.write_text(text, encoding="utf-8")


if __name__ == "__main__":
    if len(sys.argv) < 4:
        sys.exit(__doc__)
    main(*sys.argv[1:])
