"""Figures in documents, from reports of velq evaluate."""
import json
import pathlib
import subprocess
import sys
import tempfile
import unittest

SCRIPT = pathlib.Path(__file__).parents[2] / "scripts" / "document-figures.py"

REPORT = {"trainingOff": {"corpora": [
    {"file": "messages/en_a.tsv", "ham": {"all": 400, "ratedSpam": 1, "ratedUnsure": 50}, "spam": {"all": 3, "ratedSpam": 2}},
    {"file": "en_b.tsv", "ham": {"all": 0, "ratedSpam": 0, "ratedUnsure": 0}, "spam": {"all": 8, "ratedSpam": 0}}]}}

TABLE = """| source | ham | spam | ham blocked | ham unsure | spam caught |
|---|---|---|---|---|---|
| en_a | 400 | 3 | 0.25 | 12.5 | 66.7 |
| en_b | 0 | 8 |  |  | 0 |
"""


def fill(text):
    """The status, and the document after the script wrote its figures."""
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        (folder / "report.json").write_text(json.dumps(REPORT), encoding="utf-8")
        (folder / "document.md").write_text(text, encoding="utf-8")
        done = subprocess.run([sys.executable, "-B", SCRIPT, folder / "report.json", "mine", folder / "document.md"],
                              capture_output=True, text=True, check=False)
        return done.returncode, (folder / "document.md").read_text(encoding="utf-8")


class DocumentFigures(unittest.TestCase):
    def test_the_table_takes_the_place_of_what_stood_there(self):
        for before in ("", "| old |\n"):
            frame = "Before.\n<!-- figures: mine -->\n{}<!-- end of figures -->\nBehind.\n"
            self.assertEqual(fill(frame.format(before)), (0, frame.format(TABLE)))

    def test_a_document_without_the_place_is_left_alone(self):
        for text in ("Before.\n", "<!-- figures: other -->\n<!-- end of figures -->\n", "<!-- figures: mine -->\n"):
            status, after = fill(text)
            self.assertNotEqual(status, 0)
            self.assertEqual(after, text)


if __name__ == "__main__":
    unittest.main()
