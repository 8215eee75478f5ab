package velq;

/** What the C library has handed out in this process, from the test's own native library. */
final class NativeHeap {
    static {
        System.loadLibrary("velqjni_heap");
    }

    private NativeHeap() {}

    static native long bytesInUse();

    /** Takes memory that is never given back. */
    static native void lose(int bytes);
}
