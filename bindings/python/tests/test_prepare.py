"""The text preparation. VELQ_TEXT_LIBRARY names the library."""

import unittest

import velq


class PrepareTest(unittest.TestCase):
    def test_a_text_is_folded(self) -> None:
        self.assertEqual(velq.prepare("F\u00dcR \uff21ll: \u0441a\u00adll NOW"), "fur all: call now")

    def test_what_has_nothing_to_fold_stays(self) -> None:
        for text in ("", "call me", "\u4f60\u597d\uff0c\u4e16\u754c", "\U0001f44d"):
            self.assertEqual(velq.prepare(text), text)

    def test_a_text_can_grow(self) -> None:
        self.assertEqual(velq.prepare("\u00c6\u00df\ufb01"), "aessfi")

    def test_a_zero_character_is_refused(self) -> None:
        with self.assertRaises(ValueError) as caught:
            velq.prepare("AB\0CD")
        self.assertIn("index 2", str(caught.exception))

    def test_half_a_surrogate_pair_is_replaced(self) -> None:
        self.assertEqual(velq.prepare("A\ud83d"), "a\ufffd")


if __name__ == "__main__":
    unittest.main()
