package velq;

/** Kinds of data that have a version; the order is that of the engine's numbers. */
public enum DataKind {
    /** Token statistics. */
    PROBABILITY,
    /** Delivered white numbers. */
    WHITE_NUMBERS,
    /** Rules; no update of them exists in this release. */
    RULES
}
