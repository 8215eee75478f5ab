package velq;

/**
 * The native half, in libvelqjni. Methods that return an int return the engine's result code; what comes out lies in
 * arrays. A null text is null for the engine too; a zero character in a text is an IllegalArgumentException.
 */
final class Native {
    static {
        System.loadLibrary("velqjni");
    }

    private Native() {}

    static native int start(String programDirectory, boolean keptOpen);

    static native int stop(boolean keptOpen);

    static native int rate(int[] rating, String body, String number);

    static native int markHam(String body, String number);

    static native int markSpam(String body);

    static native int add(boolean isWhite, String number, String name, boolean hidden, int extendId);

    static native int addAll(Object[] numbers, Object[] names, int[] extendIds, boolean hidden);

    static native int remove(boolean isWhite, String number);

    static native int clear(boolean isWhite, int hidden);

    static native int deleteUid(boolean isWhite, int uid);

    static native int deleteExtendId(boolean isWhite, int extendId);

    /** Out: String[] of numbers, String[] of names, int[] of link values. */
    static native int entries(boolean isWhite, int hidden, Object[] out);

    /** Out: int[] of identifiers. */
    static native int uids(boolean isWhite, int hidden, Object[] out);

    /** Out: number and name, null where there is no such entry. */
    static native int read(boolean isWhite, int uid, Object[] out);

    static native int count(boolean isWhite, int[] count);

    static native int version(int kind, int[] version);

    static native int update(String probability, int probabilityVersion, String whiteNumbers, int whiteNumbersVersion);

    static native int callReserved(int entry);

    static native String prepare(String text);

    static native void refuseZero(String text);
}
