// The native methods of velq.NativeHeap.
#include <cstdlib>
#include <jni.h>
#include <malloc.h>

extern "C" {

JNIEXPORT jlong JNICALL Java_velq_NativeHeap_bytesInUse(JNIEnv * /*env*/, jclass /*heap*/)
{
    const struct mallinfo2 counts = mallinfo2();
    return static_cast<jlong>(counts.uordblks + counts.hblkhd);
}

JNIEXPORT void JNICALL Java_velq_NativeHeap_lose(JNIEnv * /*env*/, jclass /*heap*/, jint bytes)
{
    void *volatile lost = std::malloc(static_cast<std::size_t>(bytes));
    static_cast<void>(lost);
}
}
