package velq;

import java.util.ArrayList;
import java.util.Iterator;
import java.util.List;
import java.util.Objects;

/** The black or the white list of an engine. Numbers match when their last 11 characters agree. */
public class NumberList implements Iterable<NumberEntry> {
    private static final int ANY = -1;
    private static final int COMPARED_CHARACTERS = 11;
    private static final int LONGEST_NUMBER = 39;

    final Velq engine;
    private final boolean isWhite;
    private final String kind;

    NumberList(Velq engine, boolean isWhite) {
        this.engine = engine;
        this.isWhite = isWhite;
        this.kind = isWhite ? "White" : "Black";
    }

    /** Adds a number, without a name, to be shown. */
    public void add(String number) {
        add(number, "", false, 0);
    }

    /** Adds a number with a name, to be shown. */
    public void add(String number, String name) {
        add(number, name, false, 0);
    }

    /** Adds a number after taking it off the other list; a listed number stays as it is. */
    public void add(String number, String name, boolean hidden, int extendId) {
        Objects.requireNonNull(number, "number");
        Objects.requireNonNull(name, "name");
        engine.callAlone(
                Velq.WORKING,
                "VELQ_Add" + kind + "NumberSync",
                () -> Native.add(isWhite, number, name, hidden, extendId));
    }

    /** Removes every entry that matches the number. */
    public void remove(String number) {
        Objects.requireNonNull(number, "number");
        engine.call("VELQ_Remove" + kind + "NumberSync", () -> Native.remove(isWhite, number));
    }

    /** Removes all entries. */
    public void clear() {
        clear(ANY);
    }

    /** Removes all entries with one value of the hidden flag. */
    public void clear(boolean hidden) {
        clear(hidden ? 1 : 0);
    }

    private void clear(int hidden) {
        engine.call("VELQ_RemoveAll" + kind + "NumberSync", () -> Native.clear(isWhite, hidden));
    }

    /** Removes the entry with an identifier, if there is one. */
    public void deleteUid(int uid) {
        engine.call("VELQ_Delete" + kind + "NumberByUID", () -> Native.deleteUid(isWhite, uid));
    }

    /** Removes every entry with a link value. */
    public void deleteExtendId(int extendId) {
        engine.call("VELQ_Delete" + kind + "NumberByExtendID", () -> Native.deleteExtendId(isWhite, extendId));
    }

    /** All entries. */
    public List<NumberEntry> entries() {
        return entries(ANY);
    }

    /** The entries with one value of the hidden flag. */
    public List<NumberEntry> entries(boolean hidden) {
        return entries(hidden ? 1 : 0);
    }

    private List<NumberEntry> entries(int hidden) {
        Object[] out = new Object[3];
        engine.call("VELQ_Get" + kind + "NumberList", () -> Native.entries(isWhite, hidden, out));
        String[] numbers = (String[]) out[0];
        String[] names = (String[]) out[1];
        int[] extendIds = (int[]) out[2];
        List<NumberEntry> entries = new ArrayList<>(numbers.length);
        for (int i = 0; i < numbers.length; ++i) {
            entries.add(new NumberEntry(numbers[i], names[i], extendIds[i]));
        }
        return entries;
    }

    /** The identifiers of all entries. */
    public int[] uids() {
        return uids(ANY);
    }

    /** The identifiers of the entries with one value of the hidden flag. */
    public int[] uids(boolean hidden) {
        return uids(hidden ? 1 : 0);
    }

    private int[] uids(int hidden) {
        Object[] out = new Object[1];
        engine.call("VELQ_Get" + kind + "NumberUIDList", () -> Native.uids(isWhite, hidden, out));
        return (int[]) out[0];
    }

    /** The entry with an identifier, without its link value; null where there is none. */
    public NumberEntry read(int uid) {
        Object[] out = new Object[2];
        engine.call("VELQ_Read" + kind + "NumberByUID", () -> Native.read(isWhite, uid, out));
        return out[0] == null ? null : new NumberEntry((String) out[0], (String) out[1]);
    }

    /** The number of entries, hidden ones included. */
    public int size() {
        int[] count = new int[1];
        engine.call("VELQ_GetTotalCountOf" + kind + "Number", () -> Native.count(isWhite, count));
        return count[0];
    }

    /** Goes over the entries that the list had when it was called. */
    @Override
    public Iterator<NumberEntry> iterator() {
        return entries().iterator();
    }

    /** Whether a sender of this number is on the list. Reads the whole list. */
    public boolean contains(String number) {
        Objects.requireNonNull(number, "number");
        Native.refuseZero(number);
        String key = matchKey(number);
        return entries().stream().anyMatch(entry -> !key.isEmpty() && matchKey(entry.getNumber()).equals(key));
    }

    /** What decides whether two numbers match: the low bytes of the last 11 units. Empty for what matches nothing. */
    private static String matchKey(String number) {
        StringBuilder bytes = new StringBuilder();
        for (int i = 0; i < number.length() && i < LONGEST_NUMBER && (number.charAt(i) & 0xFF) != 0; ++i) {
            bytes.append((char) (number.charAt(i) & 0xFF));
        }
        return bytes.substring(Math.max(0, bytes.length() - COMPARED_CHARACTERS));
    }
}
