package velq;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertNotEquals;
import static org.junit.jupiter.api.Assertions.assertNull;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.File;
import java.io.FileNotFoundException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;
import java.util.stream.Collectors;
import java.util.stream.IntStream;
import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.function.Executable;
import org.junit.jupiter.api.io.TempDir;

class EngineTest {
    @TempDir
    Path temporary;

    private File folder;
    private Velq engine;

    @BeforeEach
    void layOut() throws Exception {
        folder = Installation.layOut(temporary.resolve("installation").toFile());
    }

    @AfterEach
    void close() {
        if (engine != null) {
            engine.close();
        }
    }

    private Velq start() throws FileNotFoundException {
        engine = new Velq(folder);
        return engine;
    }

    private static List<String> numbers(NumberList list) {
        return list.entries().stream().map(NumberEntry::getNumber).collect(Collectors.toList());
    }

    private static <T extends VelqException> void assertRefused(Class<T> kind, int code, Executable call) {
        assertEquals(code, assertThrows(kind, call).getCode());
    }

    @Test
    void startWithoutAnInstallationNamesWhatIsMissing() {
        File nowhere = new File(folder, "nowhere");
        for (boolean keptOpen : new boolean[] {true, false}) {
            Exception missing = assertThrows(FileNotFoundException.class, () -> new Velq(nowhere, keptOpen));
            assertTrue(missing.getMessage().contains("nowhere/Quenlibra/Tarvolent/data/prob.bin is missing"));
            assertTrue(missing.getMessage().contains("velq init"));
        }
        assertTrue(new File(Installation.data(folder), "ru.bin").delete());
        Exception missing = assertThrows(FileNotFoundException.class, this::start);
        assertTrue(missing.getMessage().contains("ru.bin"));
    }

    @Test
    void anEngineThatDoesNotStartIsAnErrorWithItsCode() throws Exception {
        Path tooLong = Files.createDirectories(temporary.resolve("n".repeat(200)).resolve("n".repeat(200)));
        Files.move(folder.toPath().resolve("Quenlibra"), tooLong.resolve("Quenlibra"));
        for (boolean keptOpen : new boolean[] {true, false}) {
            assertRefused(VelqException.Failed.class, -2, () -> new Velq(tooLong.toFile(), keptOpen));
        }
    }

    @Test
    void aSecondEngineIsRefusedAndLeavesTheFirstAsItWas() throws Exception {
        File other = Installation.layOut(temporary.resolve("other").toFile());
        start().getBlackList().add("13812345678");
        for (boolean keptOpen : new boolean[] {true, false}) {
            Exception refusal = assertThrows(IllegalStateException.class, () -> new Velq(other, keptOpen));
            assertTrue(refusal.getMessage().contains(folder.getPath()));
        }
        assertEquals(1, engine.getBlackList().size());
        engine.close();
        engine.close();
        try (Velq second = new Velq(other)) {
            assertEquals(0, second.getBlackList().size());
            // The first one's calls do not reach the second one's installation.
            assertRefused(VelqException.NotStarted.class, -1, () -> engine.getBlackList().add("13812345678"));
            engine.close();
            assertEquals(0, second.getBlackList().size());
        }
    }

    @Test
    void bothStartsRate() throws Exception {
        for (boolean keptOpen : new boolean[] {true, false}) {
            try (Velq one = new Velq(folder, keptOpen)) {
                assertEquals(Rating.UNSURE, one.rate("some words of some length"));
                assertEquals(Rating.HAM, one.rate("ok"));
                assertEquals(Rating.HAM, one.rate("some words of some length", "10086"));
            }
        }
    }

    @Test
    void tokensDecideAndCorrectionsTrain() throws Exception {
        start().update(Installation.layOutUpdate(temporary.toFile()), 2, null, 0);
        String message = "free cash call for all of you tonight";
        assertEquals(Rating.SPAM, engine.rate(message));
        for (int i = 0; i < 100; ++i) {
            engine.markHam(message);
        }
        assertNotEquals(Rating.SPAM, engine.rate(message));
        for (int i = 0; i < 100; ++i) {
            engine.markSpam(message);
        }
        assertEquals(Rating.SPAM, engine.rate(message));
    }

    @Test
    void textsOfAnyScriptGoThroughUnitByUnit() throws Exception {
        start();
        for (String text : new String[] {"\ud83d\ude00\ud83d\udc4d", "\ud83d", "\ude00\ud83d", "\u4f60\u597d"}) {
            assertEquals(Rating.HAM, engine.rate(text, "\ud83d\ude00"));
            engine.markSpam(text);
            engine.markHam(text, "1");
        }
        List<NumberEntry> entries = List.of(
                new NumberEntry("+8613812345678", "\u5f20\u4f1f \ud83d\ude00", 7),
                new NumberEntry("13812340000", "half \ud83d", -1),
                new NumberEntry("13812340001", "\ude00 other half", Integer.MIN_VALUE),
                new NumberEntry("13812340002", "n".repeat(29), Integer.MAX_VALUE));
        for (NumberEntry entry : entries) {
            engine.getBlackList().add(entry.getNumber(), entry.getName(), false, entry.getExtendId());
        }
        engine.getWhiteList().addAll(entries);
        assertEquals(entries, engine.getBlackList().entries());
        assertEquals(entries, engine.getWhiteList().entries());
    }

    @Test
    void aListSaysWhetherItHoldsANumber() throws Exception {
        start().getBlackList().add("+8613812345678");
        engine.getBlackList().add("10010");
        engine.getWhiteList().add("+447700900555");
        for (String number : new String[] {"13812345678", "+8613812345678", "008613812345678", "10010"}) {
            assertTrue(engine.getBlackList().contains(number), number);
            assertEquals(Rating.SPAM, engine.rate("whatever it says", number));
        }
        for (String number : new String[] {"", "3812345678", "110010", "0010", "+447700900555"}) {
            assertFalse(engine.getBlackList().contains(number), number);
            assertNotEquals(Rating.SPAM, engine.rate("whatever it says", number));
        }
        assertTrue(engine.getWhiteList().contains("447700900555"));
    }

    @Test
    void hiddenEntriesAreToldApart() throws Exception {
        NumberList list = start().getBlackList();
        list.add("13800000001");
        list.add("13800000002", "", true, 0);
        assertEquals("13800000001", list.entries(false).get(0).getNumber());
        assertEquals("13800000002", list.entries(true).get(0).getNumber());
        assertEquals(1, list.uids(true).length);
        list.clear(true);
        assertEquals(List.of("13800000001"), numbers(list));
        assertEquals(0, list.uids(true).length);
        for (NumberEntry entry : list) {
            assertEquals("13800000001", entry.getNumber());
        }
    }

    @Test
    void entriesAreReadAndDeletedByIdentifier() throws Exception {
        start();
        for (NumberList list : List.of(engine.getBlackList(), engine.getWhiteList())) {
            list.add("10010", "Operator");
            int[] uids = list.uids();
            assertEquals(1, uids.length);
            assertEquals(new NumberEntry("10010", "Operator"), list.read(uids[0]));
            assertNull(list.read(uids[0] + 1));
            list.deleteUid(uids[0]);
            assertEquals(0, list.size());
        }
    }

    @Test
    void removals() throws Exception {
        WhiteList list = start().getWhiteList();
        list.addAll(IntStream.range(0, 6)
                .mapToObj(i -> new NumberEntry("1390000000" + i, "n", i % 2))
                .collect(Collectors.toList()));
        list.remove("13900000000");
        list.deleteExtendId(1);
        assertEquals(List.of("13900000002", "13900000004"), numbers(list));
        list.clear();
        assertArrayEquals(new int[0], list.uids());
    }

    @Test
    void aLongListComesBackWhole() throws Exception {
        WhiteList list = start().getWhiteList();
        List<NumberEntry> entries = IntStream.range(0, 3000)
                .mapToObj(i -> new NumberEntry(Integer.toString(1_000_000 + i), "name " + i, i))
                .collect(Collectors.toList());
        list.addAll(entries, true);
        assertEquals(entries, list.entries(true));
        assertEquals(3000, list.uids().length);
        assertEquals(3000, list.size());
    }

    @Test
    void addingToOneListTakesTheNumberOffTheOther() throws Exception {
        start().getWhiteList().add("13812345678");
        engine.getBlackList().add("+8613812345678");
        assertEquals(0, engine.getWhiteList().size());
        engine.markHam("hello", "13812345678");
        assertEquals(0, engine.getBlackList().size());
    }

    @Test
    void zeroCharactersAreRefused() throws Exception {
        start();
        List<Executable> calls = List.of(
                () -> engine.rate("some\0text"),
                () -> engine.rate("some text", "138\0"),
                () -> engine.markHam("\0"),
                () -> engine.markHam("text", "\0"),
                () -> engine.markSpam("some\0text"),
                () -> engine.getBlackList().add("138\0"),
                () -> engine.getBlackList().add("138", "na\0me"),
                () -> engine.getBlackList().remove("138\0"),
                () -> engine.getBlackList().contains("138\0"),
                () -> engine.getWhiteList().addAll(List.of(new NumberEntry("1"), new NumberEntry("138\0"))),
                () -> engine.update(new File("/no\0file"), 1, null, 0));
        for (Executable call : calls) {
            Exception refusal = assertThrows(IllegalArgumentException.class, call);
            assertTrue(refusal.getMessage().contains("zero character"));
        }
        assertEquals(0, engine.getBlackList().size());
        assertEquals(0, engine.getWhiteList().size());
        assertThrows(NullPointerException.class, () -> engine.rate(null));
        assertThrows(NullPointerException.class, () -> engine.markHam("text", null));
        assertThrows(NullPointerException.class, () -> engine.getBlackList().add(null));
    }

    @Test
    void refusalsHaveTheirTypesAndTheEnginesCodes() throws Exception {
        start();
        String tooLong = "1".repeat(30);
        assertRefused(VelqException.Failed.class, -2, () -> engine.getBlackList().add(tooLong));
        assertRefused(VelqException.Failed.class, -2, () -> engine.markHam("text", tooLong));
        assertRefused(VelqException.BatchArgument.class, -9, () -> engine.getWhiteList().addAll(List.of()));
        assertRefused(
                VelqException.BatchFailed.class,
                -8,
                () -> engine.getWhiteList().addAll(List.of(new NumberEntry(tooLong))));
        assertRefused(VelqException.Failed.class, -2, () -> engine.update(null, 0, null, 0));
        assertRefused(VelqException.Failed.class, -2, () -> engine.update(new File("/no/such/file"), 2, null, 0));
        for (int code : new int[] {-1, -2, -4, -6, -7, -8, -9}) {
            VelqException refusal = assertThrows(VelqException.class, () -> VelqException.check("call", code));
            assertEquals(code, refusal.getCode());
            assertTrue(refusal.getMessage().startsWith("call: ") && refusal.getMessage().endsWith("(" + code + ")"));
        }
        engine.close();
        List<Executable> calls = List.of(
                () -> engine.rate("text"),
                () -> engine.markSpam("text"),
                () -> engine.getBlackList().entries(),
                () -> engine.getWhiteList().size(),
                () -> engine.version(DataKind.RULES),
                () -> engine.update(null, 0, null, 0));
        for (Executable call : calls) {
            assertRefused(VelqException.NotStarted.class, -1, call);
        }
    }

    @Test
    void anUpdateIsMergedAndItsVersionRecorded() throws Exception {
        File update = Installation.layOutUpdate(temporary.toFile());
        start();
        assertEquals(1, engine.version(DataKind.WHITE_NUMBERS));
        engine.update(null, 0, update, 9);
        assertEquals(9, engine.version(DataKind.WHITE_NUMBERS));
        assertEquals(1, engine.version(DataKind.PROBABILITY));
        assertEquals(1, engine.getWhiteList().size());
    }

    @Test
    void reservedEntriesAnswerAsTheyAreSaidTo() throws Exception {
        for (boolean isStarted : new boolean[] {false, true}) {
            if (isStarted) {
                start();
            }
            for (ReservedEntry entry : ReservedEntry.values()) {
                int expected = 0;
                if (entry == ReservedEntry.CHECK_SPAM_MSG_ASYNC) {
                    expected = -7;
                } else if (!isStarted && !entry.name().startsWith("MT_") && !entry.name().startsWith("FREE_")) {
                    expected = -1;
                }
                assertEquals(expected, entry.call(), entry.name());
            }
        }
        assertThrows(IllegalStateException.class, () -> Native.callReserved(ReservedEntry.values().length));
        assertThrows(IllegalStateException.class, () -> Native.callReserved(-1));
    }

    @Test
    void threadsMayCallAllAtOnceAndTheEndWaitsForThem() throws Exception {
        start();
        List<Throwable> failures = new ArrayList<>();
        List<Thread> threads = new ArrayList<>();
        List<Runnable> works = List.of(
                () -> engine.rate("some words of some length", "13812345678"),
                () -> engine.rate("other words of other length", "13812340000"),
                () -> engine.markSpam("more words of more length"),
                () -> engine.getBlackList().add("13812345678"),
                () -> engine.getWhiteList().add("13812345678"),
                () -> engine.getBlackList().entries(),
                () -> engine.version(DataKind.PROBABILITY),
                () -> Velq.prepare("MORE Words"));
        for (Runnable work : works) {
            Thread thread = new Thread(() -> {
                try {
                    for (int i = 0; i < 100_000; ++i) {
                        try {
                            work.run();
                        } catch (VelqException.Failed locked) {
                            // The lists' file was locked by another thread for longer than the engine waits.
                            continue;
                        }
                    }
                } catch (VelqException.NotStarted end) {
                    return;
                } catch (Throwable failure) {
                    synchronized (failures) {
                        failures.add(failure);
                    }
                }
            });
            threads.add(thread);
            thread.start();
        }
        engine.rate("some words of some length");
        engine.getBlackList().add("13812341111");
        engine.rate("some words of some length");
        engine.close();
        for (Thread thread : threads) {
            thread.join();
        }
        assertEquals(List.of(), failures);
        try (Velq again = new Velq(folder)) {
            assertTrue(again.getBlackList().contains("13812341111"));
        }
    }
}
