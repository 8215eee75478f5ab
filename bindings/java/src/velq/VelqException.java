package velq;

/** A call that the engine refused or could not carry out. The kinds of it tell the engine's result codes apart. */
public class VelqException extends RuntimeException {
    private static final long serialVersionUID = 1L;

    private final int code;

    VelqException(String call, int code, String meaning) {
        super(call + ": " + meaning + " (" + code + ")");
        this.code = code;
    }

    /** The engine's result code. */
    public final int getCode() {
        return code;
    }

    static final int NOT_STARTED = -1;

    /** Does nothing for the code of success. */
    static void check(String call, int code) {
        switch (code) {
            case 0:
                return;
            case NOT_STARTED:
                throw new NotStarted(call, code);
            case -2:
                throw new Failed(call, code);
            case -4:
                throw new Busy(call, code);
            case -6:
                throw new DatabaseFull(call, code);
            case -8:
                throw new BatchFailed(call, code);
            case -9:
                throw new BatchArgument(call, code);
            default:
                throw new VelqException(call, code, "unknown result");
        }
    }

    /** The engine was closed. */
    public static final class NotStarted extends VelqException {
        private static final long serialVersionUID = 1L;

        NotStarted(String call, int code) {
            super(call, code, "the engine is not started");
        }
    }

    /** A bad argument or a failed operation; the log in the program directory tells which. */
    public static final class Failed extends VelqException {
        private static final long serialVersionUID = 1L;

        Failed(String call, int code) {
            super(call, code, "bad argument or failed operation; the log in the program directory tells which");
        }
    }

    /** A data update is running: try again later. */
    public static final class Busy extends VelqException {
        private static final long serialVersionUID = 1L;

        Busy(String call, int code) {
            super(call, code, "a data update is running");
        }
    }

    /** The data file cannot grow; nothing of the batch was stored. */
    public static final class DatabaseFull extends VelqException {
        private static final long serialVersionUID = 1L;

        DatabaseFull(String call, int code) {
            super(call, code, "the data file is full");
        }
    }

    /** An entry of the batch is too long, or storing failed; nothing of the batch was stored. */
    public static final class BatchFailed extends VelqException {
        private static final long serialVersionUID = 1L;

        BatchFailed(String call, int code) {
            super(call, code, "the batch could not be stored");
        }
    }

    /** The batch is empty. */
    public static final class BatchArgument extends VelqException {
        private static final long serialVersionUID = 1L;

        BatchArgument(String call, int code) {
            super(call, code, "the batch is empty or its hidden flag is wrong");
        }
    }
}
