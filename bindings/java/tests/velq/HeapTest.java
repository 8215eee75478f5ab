package velq;

import java.io.File;
import java.util.List;
import java.util.stream.Collectors;
import java.util.stream.IntStream;

/**
 * Native memory over ten thousand ratings, with refused texts and lists read among them. A program of its own: the
 * machine runs without a compiler of its own then, which would take memory while the test runs.
 */
final class HeapTest {
    private static final int RATINGS = 10_000;

    /** Less than the smallest block of the C library for each rating. */
    private static final long MOST = 16L * RATINGS;

    private HeapTest() {}

    public static void main(String[] arguments) throws Exception {
        File folder = Installation.layOut(new File(arguments[0]));
        try (Velq engine = new Velq(folder)) {
            engine.getWhiteList().addAll(IntStream.range(0, 20)
                    .mapToObj(i -> new NumberEntry("1390000" + i, "name " + i, i))
                    .collect(Collectors.toList()));
            long lost = growth(() -> NativeHeap.lose(24));
            if (lost <= MOST) {
                throw new AssertionError("a leak of a block for each call would not be seen: " + lost + " bytes");
            }
            long kept = growth(() -> work(engine));
            System.out.println(RATINGS + " calls that lose a block: " + lost + " bytes; ratings: " + kept + " bytes");
            if (kept > MOST) {
                throw new AssertionError(RATINGS + " ratings kept " + kept + " bytes of native memory");
            }
        }
    }

    private static void work(Velq engine) {
        engine.rate("some words of some length \ud83d\ude00", "13812345678");
        try {
            engine.rate("some\0text", "13812345678");
            throw new AssertionError("a zero character was not refused");
        } catch (IllegalArgumentException refusal) {
            Velq.prepare("SOME Words \ud83d");
        }
        calls = (calls + 1) % 100;
        if (calls == 0) {
            NumberList list = engine.getWhiteList();
            List<NumberEntry> entries = list.entries();
            if (entries.size() != list.size() || list.read(list.uids()[0]) == null) {
                throw new AssertionError("the list was not read");
            }
        }
    }

    private static int calls;

    /** By how much native memory grows over the calls. What is a leak grows each time, what is kept once does not. */
    private static long growth(Runnable work) {
        long least = Long.MAX_VALUE;
        for (int round = 0; round < 3 && least > MOST; ++round) {
            for (int i = 0; i < RATINGS / 10; ++i) {
                work.run();
            }
            long before = NativeHeap.bytesInUse();
            for (int i = 0; i < RATINGS; ++i) {
                work.run();
            }
            least = Math.min(least, NativeHeap.bytesInUse() - before);
        }
        return least;
    }
}
