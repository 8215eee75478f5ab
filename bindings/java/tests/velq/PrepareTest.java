package velq;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;

import org.junit.jupiter.api.Test;

class PrepareTest {
    @Test
    void aTextIsFolded() {
        assertEquals("fur all: call now", Velq.prepare("F\u00dcR \uff21ll: \u0441a\u00adll NOW"));
    }

    @Test
    void whatHasNothingToFoldStays() {
        for (String text : new String[] {"", "call me", "\u4f60\u597d\uff0c\u4e16\u754c", "\ud83d\udc4d"}) {
            assertEquals(text, Velq.prepare(text));
        }
    }

    @Test
    void aTextCanGrowAndBeLong() {
        assertEquals("aessfi", Velq.prepare("\u00c6\u00df\ufb01"));
        assertEquals("aessfi\ud83d\ude00".repeat(5000), Velq.prepare("\u00c6\u00df\ufb01\ud83d\ude00".repeat(5000)));
    }

    @Test
    void halfASurrogatePairIsReplaced() {
        assertEquals("a\ufffd", Velq.prepare("A\ud83d"));
        assertEquals("\ufffda", Velq.prepare("\ude00A"));
    }

    @Test
    void aZeroCharacterIsRefused() {
        for (int index : new int[] {0, 2, 511, 512, 1300}) {
            String text = "a".repeat(index) + "\0CD";
            Exception refusal = assertThrows(IllegalArgumentException.class, () -> Velq.prepare(text));
            assertEquals(
                    "the text holds a zero character, at index " + index + "; the engine would not see the rest",
                    refusal.getMessage());
        }
        assertThrows(NullPointerException.class, () -> Velq.prepare(null));
    }
}
