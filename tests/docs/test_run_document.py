"""The runner of documents: what it takes for the same, and what it finds fault with."""
import pathlib
import subprocess
import sys
import tempfile
import unittest

import run_document

RUNNER = pathlib.Path(run_document.__file__)


def check(document, *options):
    """Runs a document in an empty tree; returns the status, what the runner said and the document afterwards."""
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        (folder / "tree").mkdir()
        (folder / "document.md").write_text(document, encoding="utf-8")
        done = subprocess.run([sys.executable, "-B", RUNNER, *options, folder / "document.md", folder / "tree", folder],
                              capture_output=True, text=True, check=False, timeout=100)
        return done.returncode, done.stdout, (folder / "document.md").read_text(encoding="utf-8")


def block(*lines):
    return "\n".join(["Text.", "", "```console", *lines, "```", ""])


class Matching(unittest.TestCase):
    def test_lines_have_to_be_the_same(self):
        self.assertTrue(run_document.matches(["a.b"], ["a.b"]))
        for printed in (["axb"], ["a.b", ""], ["a.b c"], []):
            self.assertFalse(run_document.matches(["a.b"], printed), printed)

    def test_dots_stand_for_a_part_of_a_line(self):
        self.assertTrue(run_document.matches(['"time":"...","n":1'], ['"time":"now","n":1']))
        self.assertFalse(run_document.matches(['"time":"...","n":1'], ['"time":"now","n":2']))
        self.assertFalse(run_document.matches(["a...b"], ["a", "b"]))

    def test_dots_alone_stand_for_lines(self):
        for printed in (["a", "b"], ["a", "1", "b"], ["a", "1", "2", "b"]):
            self.assertTrue(run_document.matches(["a", "...", "b"], printed), printed)
        self.assertFalse(run_document.matches(["a", "...", "b"], ["a", "1", "c"]))


class Running(unittest.TestCase):
    def test_a_document_that_holds_passes(self):
        status, said, _ = check(block("$ A=1", "$ echo $A; echo 2 >&2", "1", "2", "$ cd /", "$ pwd", "/"))
        self.assertEqual((status, said), (0, "4 commands run, 0 do not print what document.md shows\n"))

    def test_other_output_is_a_fault(self):
        for document in (block("$ echo 1", "2"), block("$ echo 1"), block("$ true", "1"), block("$ echo 1", "1", "")):
            status, said, _ = check(document)
            self.assertEqual(status, 1, document)
            self.assertIn("1 do not print", said)

    def test_a_status_has_to_be_shown(self):
        self.assertEqual(check(block("$ false"))[0], 1)
        self.assertEqual(check(block("$ false", "$ echo $?", "1"))[0], 0)
        self.assertEqual(check(block("$ false", "$ echo $?", "0"))[0], 1)

    def test_a_command_that_ends_the_shell_is_a_fault(self):
        status, said, _ = check(block("$ echo 1", "1", "$ exit 0", "$ echo 2", "2"))
        self.assertEqual(status, 1)
        self.assertIn("exit 0: ended the shell", said)

    def test_a_document_without_commands_is_a_fault(self):
        self.assertEqual(check("Text.\n")[0], 1)

    def test_commands_go_on_in_further_lines(self):
        self.assertEqual(check(block("$ echo 1 \\", "> 2", "1 2"))[0], 0)

    def test_blocks_that_are_not_run_are_left_out(self):
        document = "<!-- not run: takes root -->\n```console\n$ false\n```\n" + block("$ echo 1", "1")
        self.assertEqual(check(document)[1], "1 commands run, 0 do not print what document.md shows\n")

    def test_the_home_folder_and_the_port_have_the_names_of_the_document(self):
        self.assertEqual(check(block("$ pwd; echo port 8125", "/home/you", "port 8125"))[0], 0)


class Writing(unittest.TestCase):
    def test_what_is_printed_takes_the_place_of_what_is_shown(self):
        status, _, document = check(block("$ echo 1", "2", "$ printf '3\\n4\\n'", "$ true", "5"), "--write")
        self.assertEqual((status, document), (0, block("$ echo 1", "1", "$ printf '3\\n4\\n'", "3", "4", "$ true")))

    def test_dots_stay(self):
        before = block("$ printf 'head 2\\nx\\nsum  4 now\\ny\\n'", "head 1", "...", "sum  3 now", "...")
        after = block("$ printf 'head 2\\nx\\nsum  4 now\\ny\\n'", "head 2", "...", "sum  4 now", "...")
        self.assertEqual(check(before, "--write")[2], after)


if __name__ == "__main__":
    unittest.main()
