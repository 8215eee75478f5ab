package velq;

import java.io.Closeable;
import java.io.File;
import java.io.FileNotFoundException;
import java.util.Objects;
import java.util.concurrent.locks.Lock;
import java.util.concurrent.locks.ReentrantLock;
import java.util.concurrent.locks.ReentrantReadWriteLock;
import java.util.function.IntSupplier;

/**
 * The engine on one installation: a folder that holds Quenlibra/Tarvolent/data. One per process.
 *
 * <p>Every method may be called from any thread. What the engine does not allow at the same time waits: rating, the
 * corrections and the adding of single numbers for each other, an update for another one, the end for all that runs.
 * While an update runs, corrections, lists and versions throw {@link VelqException.Busy}; rating works.
 *
 * <p>A text with a zero character, which would end it for the engine, is an IllegalArgumentException.
 */
public final class Velq implements Closeable {
    private static final String[] DATA_FILES = {"prob.bin", "bn.bin", "wn.bin", "ru.bin", "ver.bin"};

    /** Held for writing by start and stop, for reading by all else. */
    private static final ReentrantReadWriteLock LIFE = new ReentrantReadWriteLock();

    /** Held by those that share the engine's working state. */
    static final Lock WORKING = new ReentrantLock();

    private static final Lock UPDATING = new ReentrantLock();

    /** Guarded by LIFE. */
    private static Velq started;

    private final String folder;
    private final boolean keptOpen;
    private final NumberList blackList = new NumberList(this, false);
    private final WhiteList whiteList = new WhiteList(this);

    /** Starts the engine and keeps its data files open, so that rating opens none. */
    public Velq(File folder) throws FileNotFoundException {
        this(folder, true);
    }

    /**
     * Starts the engine.
     *
     * @throws FileNotFoundException when there is no installation
     * @throws IllegalStateException while another engine of this process runs, since the two would be one, on the first
     *     one's installation
     * @throws VelqException.Failed when the engine does not start
     */
    public Velq(File folder, boolean keptOpen) throws FileNotFoundException {
        this.folder = folder.getPath();
        this.keptOpen = keptOpen;
        String program = this.folder + File.separator + "Quenlibra";
        checkInstallation(new File(program, "Tarvolent"));
        LIFE.writeLock().lock();
        try {
            if (started != null) {
                throw new IllegalStateException(
                        "an engine of this process runs on " + started.folder + "; close it before starting another");
            }
            VelqException.check(
                    keptOpen ? "VELQ_Norix_Initialize" : "VELQ_Initialize",
                    Native.start(program + "\\Tarvolent", keptOpen));
            started = this;
        } finally {
            LIFE.writeLock().unlock();
        }
    }

    private static void checkInstallation(File program) throws FileNotFoundException {
        for (String name : DATA_FILES) {
            File file = new File(new File(program, "data"), name);
            if (!file.exists()) {
                throw new FileNotFoundException(
                        "no installation of the engine (velq init lays one out): " + file + " is missing");
            }
        }
    }

    /** The text in the form that the engine reads best: libvelqtext says what changes. Needs no engine. */
    public static String prepare(String text) {
        return Native.prepare(Objects.requireNonNull(text, "text"));
    }

    /** Rates a message whose sender is not known. */
    public Rating rate(String body) {
        return rate(body, "");
    }

    /** Rates a message. Confident verdicts train the token store. */
    public Rating rate(String body, String number) {
        Objects.requireNonNull(body, "body");
        Objects.requireNonNull(number, "number");
        int[] rating = new int[1];
        callAlone(WORKING, "VELQ_CheckSpamMsgSync", () -> Native.rate(rating, body, number));
        return Rating.of(rating[0]);
    }

    /** The user says that a message whose sender is not known is wanted. */
    public void markHam(String body) {
        markHam(body, "");
    }

    /** The user says that a message is wanted; also takes the sender off the black list. */
    public void markHam(String body, String number) {
        Objects.requireNonNull(body, "body");
        Objects.requireNonNull(number, "number");
        callAlone(WORKING, "VELQ_SetMsgAsHam", () -> Native.markHam(body, number));
    }

    /** The user says that a message is spam; the lists stay as they are. */
    public void markSpam(String body) {
        Objects.requireNonNull(body, "body");
        callAlone(WORKING, "VELQ_SetMsgAsSpam", () -> Native.markSpam(body));
    }

    /** Senders whose messages are spam. */
    public NumberList getBlackList() {
        return blackList;
    }

    /** Senders whose messages are wanted. */
    public WhiteList getWhiteList() {
        return whiteList;
    }

    /** The installed version of one kind of data; 0 when none is recorded. */
    public int version(DataKind kind) {
        int number = kind.ordinal();
        int[] version = new int[1];
        call("VELQ_GetCurVersion", () -> Native.version(number, version));
        return version[0];
    }

    /** Merges update files and records their versions. One of the files may be null for none. */
    public void update(File probability, int probabilityVersion, File whiteNumbers, int whiteNumbersVersion) {
        String probabilityPath = probability == null ? null : probability.getPath();
        String whiteNumbersPath = whiteNumbers == null ? null : whiteNumbers.getPath();
        callAlone(
                UPDATING,
                "VELQ_UpdateData",
                () -> Native.update(probabilityPath, probabilityVersion, whiteNumbersPath, whiteNumbersVersion));
    }

    /** Waits for what runs and stops the engine; a second call does nothing. */
    @Override
    public void close() {
        LIFE.writeLock().lock();
        try {
            if (started != this) {
                return;
            }
            started = null;
            VelqException.check(keptOpen ? "VELQ_Norix_Finalize" : "VELQ_Finalize", Native.stop(keptOpen));
        } finally {
            LIFE.writeLock().unlock();
        }
    }

    /** Runs one call of the engine; throws where it is not this one that is started, or where it refuses. */
    void call(String name, IntSupplier call) {
        LIFE.readLock().lock();
        try {
            VelqException.check(name, started == this ? call.getAsInt() : VelqException.NOT_STARTED);
        } finally {
            LIFE.readLock().unlock();
        }
    }

    /** The same, with no other call under that lock at the same time. */
    void callAlone(Lock lock, String name, IntSupplier call) {
        lock.lock();
        try {
            call(name, call);
        } finally {
            lock.unlock();
        }
    }

    static int reserved(int entry) {
        LIFE.readLock().lock();
        try {
            return Native.callReserved(entry);
        } finally {
            LIFE.readLock().unlock();
        }
    }
}
