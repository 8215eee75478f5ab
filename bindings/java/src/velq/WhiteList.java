package velq;

import java.util.Collection;

/** The white list, which also takes whole batches. */
public final class WhiteList extends NumberList {
    WhiteList(Velq engine) {
        super(engine, true);
    }

    /** Adds all entries, to be shown, or none. */
    public void addAll(Collection<NumberEntry> entries) {
        addAll(entries, false);
    }

    /** Adds all entries or none; nothing is compared with what the list holds. */
    public void addAll(Collection<NumberEntry> entries, boolean hidden) {
        NumberEntry[] items = entries.toArray(new NumberEntry[0]);
        String[] numbers = new String[items.length];
        String[] names = new String[items.length];
        int[] extendIds = new int[items.length];
        for (int i = 0; i < items.length; ++i) {
            numbers[i] = items[i].getNumber();
            names[i] = items[i].getName();
            extendIds[i] = items[i].getExtendId();
        }
        engine.call("VELQ_AddWhiteNumberListSync", () -> Native.addAll(numbers, names, extendIds, hidden));
    }
}
