package velq;

/** What the engine says of a message; the order is that of its numbers. */
public enum Rating {
    /** Unwanted. */
    SPAM,
    /** Wanted. */
    HAM,
    /** The engine cannot tell. */
    UNSURE;

    private static final Rating[] ALL = values();

    static Rating of(int number) {
        return ALL[number];
    }
}
