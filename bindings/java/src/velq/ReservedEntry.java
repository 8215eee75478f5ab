package velq;

/**
 * The entries of the engine's interface that do nothing in this release: asynchronous rating, the message store, and
 * those kept for later. They are here so that every entry can be reached.
 */
public enum ReservedEntry {
    CHECK_SPAM_MSG_ASYNC,
    GET_SPAM_MSG_LIST,
    READ_SPAM_MSG,
    DELETE_SPAM_MSG,
    DELETE_ALL_SPAM_MSG,
    ADD_SPAM_MSG,
    GET_MSG_UID_LIST,
    GET_TOTAL_COUNT_OF_MSG,
    FREE_SPAM_MSG_LIST,
    FREE_SPAM_MSG_BUF,
    FREE_MSG_UID_LIST,
    MT_ADD_WHITE_NUMBER,
    MT_DUMP_BIN,
    MT_END_TRAINING,
    MT_GET_CURRENT_VERSION,
    MT_REGISTER_MSG,
    MT_START_TRAINING,
    MT_UPDATE_VERSION,
    MT_UPDATE_WORD_DICT;

    /** Calls the entry and returns its result code as it is; 0 for those that have no result. */
    public int call() {
        return Velq.reserved(ordinal());
    }
}
