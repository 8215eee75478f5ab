package velq;

import java.util.Objects;

/** One entry of a number list. */
public final class NumberEntry {
    private final String number;
    private final String name;
    private final int extendId;

    /** An entry without a name. */
    public NumberEntry(String number) {
        this(number, "", 0);
    }

    /** An entry without a link value. */
    public NumberEntry(String number, String name) {
        this(number, name, 0);
    }

    /** An entry with the caller's link value. */
    public NumberEntry(String number, String name, int extendId) {
        this.number = Objects.requireNonNull(number, "number");
        this.name = Objects.requireNonNull(name, "name");
        this.extendId = extendId;
    }

    /** The number as displayed. */
    public String getNumber() {
        return number;
    }

    /** The display name, or an empty text. */
    public String getName() {
        return name;
    }

    /** The caller's link value. */
    public int getExtendId() {
        return extendId;
    }

    @Override
    public boolean equals(Object other) {
        if (!(other instanceof NumberEntry)) {
            return false;
        }
        NumberEntry entry = (NumberEntry) other;
        return number.equals(entry.number) && name.equals(entry.name) && extendId == entry.extendId;
    }

    @Override
    public int hashCode() {
        return Objects.hash(number, name, extendId);
    }

    @Override
    public String toString() {
        return "NumberEntry(" + number + ", " + name + ", " + extendId + ")";
    }
}
