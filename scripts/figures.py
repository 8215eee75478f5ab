"""What the scripts that measure stores have in common: the velq command, and figures of what `velq evaluate --json` prints."""
import subprocess
import sys
from pathlib import Path

STORE_FILE = Path("Quenlibra", "Tarvolent", "data", "prob.bin")  # of an installation


def run(*command, text=None):
    done = subprocess.run([str(word) for word in command], input=text, capture_output=True, text=True, check=False)
    if done.returncode != 0:
        sys.exit(f"{' '.join(map(str, command))}: {done.stderr.strip()}")
    return done.stdout


def shares(part):
    """Of a part of a report, in percent: ham blocked, ham left unsure, spam caught; None where there are no such messages."""
    ham, spam = part["ham"], part["spam"]
    counts = ((ham["ratedSpam"], ham["all"]), (ham["ratedUnsure"], ham["all"]), (spam["ratedSpam"], spam["all"]))
    return tuple(100 * count / of if of else None for count, of in counts)


def shown(values):
    return " / ".join("   - " if value is None else f"{value:5.2f}" for value in values)
