// The native half of the Java package: the engine and the preparation of texts through JNI. One function for each
// native method of velq.Native, bound by name and by a signature that is made of the function's own type.
//
// A C++ exception never leaves a function. Whatever the Java machine refuses leaves a Java exception pending; the
// function then ends at once, and what it holds of the engine is released.
#include <algorithm>
#include <array>
#include <exception>
#include <jni.h>
#include <limits>
#include <new>
#include <string>
#include <string_view>
#include <vector>
#include <velq.h>
#include <velq_text.h>

namespace {

// ---- What every function uses ----------------------------------------------------------------------

// Thrown where a Java exception is pending.
struct PendingInJava {};

void checkPending(JNIEnv *env)
{
    if (env->ExceptionCheck() != JNI_FALSE) {
        throw PendingInJava();
    }
}

template <typename Reference>
Reference checked(JNIEnv *env, Reference reference)
{
    checkPending(env);
    if (reference == nullptr) {
        throw std::bad_alloc();
    }
    return reference;
}

// Leaves a Java exception pending; the text is ASCII.
void raise(JNIEnv *env, const char *kind, const std::string &text)
{
    if (env->ExceptionCheck() != JNI_FALSE) {
        return;
    }
    if (jclass exception = env->FindClass(kind); exception != nullptr) {
        env->ThrowNew(exception, text.c_str());
        env->DeleteLocalRef(exception);
    }
}

// A reference of a loop, which must not wait for the end of the function.
template <typename Reference>
class Local {
  public:
    Local(JNIEnv *env, Reference reference) : m_env(env), m_reference(reference)
    {
        checkPending(env);
    }
    Local(const Local &) = delete;
    Local &operator=(const Local &) = delete;
    ~Local()
    {
        if (m_reference != nullptr) {
            m_env->DeleteLocalRef(m_reference);
        }
    }
    [[nodiscard]] Reference get() const
    {
        return m_reference;
    }

  private:
    JNIEnv *m_env;
    Reference m_reference;
};

// ---- Texts -----------------------------------------------------------------------------------------

// A Java string as wide text, unit by unit. Null stays null. A zero character within, behind which the engine would see
// nothing, is an IllegalArgumentException.
class Text {
  public:
    Text(JNIEnv *env, jstring string) : m_isNull(string == nullptr)
    {
        if (m_isNull) {
            return;
        }
        const jsize length = env->GetStringLength(string);
        m_units.reserve(static_cast<std::size_t>(length));
        std::array<jchar, 512> part{};
        const auto most = static_cast<jsize>(part.size());
        for (jsize at = 0; at < length; at += most) {
            const jsize count = std::min(most, length - at);
            env->GetStringRegion(string, at, count, part.data());
            checkPending(env);
            m_units.append(part.begin(), part.begin() + count);
        }
        if (const std::size_t zero = m_units.find(u'\0'); zero != std::u16string::npos) {
            raise(env, "java/lang/IllegalArgumentException",
                  "the text holds a zero character, at index " + std::to_string(zero) +
                      "; the engine would not see the rest");
            throw PendingInJava();
        }
    }
    [[nodiscard]] const VELQ_WideChar *get() const
    {
        return m_isNull ? nullptr : m_units.c_str();
    }
    // For the records of the interface, whose texts it only reads.
    [[nodiscard]] VELQ_WideChar *inRecord()
    {
        return m_isNull ? nullptr : m_units.data();
    }

  private:
    bool m_isNull;
    std::u16string m_units;
};

// The Java string of a wide text; of null an empty one.
jstring toJava(JNIEnv *env, const VELQ_WideChar *text)
{
    const std::u16string_view units = text == nullptr ? std::u16string_view() : std::u16string_view(text);
    const std::vector<jchar> copy(units.begin(), units.end());
    return checked(env, env->NewString(copy.data(), static_cast<jsize>(copy.size())));
}

void setInt(JNIEnv *env, jintArray out, jint value)
{
    env->SetIntArrayRegion(out, 0, 1, &value);
    checkPending(env);
}

jintArray toJava(JNIEnv *env, const std::vector<jint> &values)
{
    const auto size = static_cast<jsize>(values.size());
    jintArray array = checked(env, env->NewIntArray(size));
    env->SetIntArrayRegion(array, 0, size, values.data());
    checkPending(env);
    return array;
}

void setElement(JNIEnv *env, jobjectArray array, jsize index, jobject element)
{
    env->SetObjectArrayElement(array, index, element);
    checkPending(env);
}

// ---- Start and stop --------------------------------------------------------------------------------

jint start(JNIEnv *env, jstring programDirectory, jboolean keptOpen)
{
    const Text directory(env, programDirectory);
    return keptOpen != JNI_FALSE ? VELQ_Norix_Initialize(directory.get()) : VELQ_Initialize(directory.get());
}

jint stop(JNIEnv *, jboolean keptOpen)
{
    return keptOpen != JNI_FALSE ? VELQ_Norix_Finalize() : VELQ_Finalize();
}

// ---- Rating and feedback ---------------------------------------------------------------------------

jint rate(JNIEnv *env, jintArray out, jstring body, jstring number)
{
    const Text text(env, body);
    const Text sender(env, number);
    uint32_t rating = VELQ_RATING_UNSURE;
    const jint code = VELQ_CheckSpamMsgSync(&rating, text.get(), sender.get());
    setInt(env, out, static_cast<jint>(rating));
    return code;
}

jint markHam(JNIEnv *env, jstring body, jstring number)
{
    const Text text(env, body);
    const Text sender(env, number);
    return VELQ_SetMsgAsHam(text.get(), sender.get());
}

jint markSpam(JNIEnv *env, jstring body)
{
    const Text text(env, body);
    return VELQ_SetMsgAsSpam(text.get());
}

// ---- Number lists ----------------------------------------------------------------------------------

// The functions of one of the two lists.
struct ListFunctions {
    decltype(&VELQ_AddBlackNumberSync) add;
    decltype(&VELQ_RemoveBlackNumberSync) remove;
    decltype(&VELQ_RemoveAllBlackNumberSync) clear;
    decltype(&VELQ_DeleteBlackNumberByUID) deleteUid;
    decltype(&VELQ_DeleteBlackNumberByExtendID) deleteExtendId;
    decltype(&VELQ_GetBlackNumberList) entries;
    decltype(&VELQ_FreeBlackNumberList) freeEntries;
    decltype(&VELQ_GetBlackNumberUIDList) uids;
    decltype(&VELQ_FreeBlackNumberUIDList) freeUids;
    decltype(&VELQ_ReadBlackNumberByUID) read;
    decltype(&VELQ_FreeBlackNumber) freeRecord;
    decltype(&VELQ_GetTotalCountOfBlackNumber) count;
};

constexpr ListFunctions blackList{VELQ_AddBlackNumberSync,
                                  VELQ_RemoveBlackNumberSync,
                                  VELQ_RemoveAllBlackNumberSync,
                                  VELQ_DeleteBlackNumberByUID,
                                  VELQ_DeleteBlackNumberByExtendID,
                                  VELQ_GetBlackNumberList,
                                  VELQ_FreeBlackNumberList,
                                  VELQ_GetBlackNumberUIDList,
                                  VELQ_FreeBlackNumberUIDList,
                                  VELQ_ReadBlackNumberByUID,
                                  VELQ_FreeBlackNumber,
                                  VELQ_GetTotalCountOfBlackNumber};
constexpr ListFunctions whiteList{VELQ_AddWhiteNumberSync,
                                  VELQ_RemoveWhiteNumberSync,
                                  VELQ_RemoveAllWhiteNumberSync,
                                  VELQ_DeleteWhiteNumberByUID,
                                  VELQ_DeleteWhiteNumberByExtendID,
                                  VELQ_GetWhiteNumberList,
                                  VELQ_FreeWhiteNumberList,
                                  VELQ_GetWhiteNumberUIDList,
                                  VELQ_FreeWhiteNumberUIDList,
                                  VELQ_ReadWhiteNumberByUID,
                                  VELQ_FreeWhiteNumber,
                                  VELQ_GetTotalCountOfWhiteNumber};

const ListFunctions &functionsOf(jboolean isWhite)
{
    return isWhite != JNI_FALSE ? whiteList : blackList;
}

// What the engine handed out, released when the function ends in whatever way.
template <typename Pointer, typename Release>
class Held {
  public:
    Held(Pointer pointer, Release release) : m_pointer(pointer), m_release(release) {}
    Held(const Held &) = delete;
    Held &operator=(const Held &) = delete;
    ~Held()
    {
        m_release(m_pointer);
    }

  private:
    Pointer m_pointer;
    Release m_release;
};

template <typename Node>
jsize lengthOf(const Node *list)
{
    jsize length = 0;
    for (; list != nullptr && length < std::numeric_limits<jsize>::max(); list = list->next) {
        ++length;
    }
    return length;
}

jint add(JNIEnv *env, jboolean isWhite, jstring number, jstring name, jboolean hidden, jint extendId)
{
    Text numberText(env, number);
    Text nameText(env, name);
    const NumberRecord record{numberText.inRecord(), nameText.inRecord()};
    return functionsOf(isWhite).add(&record, hidden != JNI_FALSE ? 1 : 0, extendId);
}

jint addAll(JNIEnv *env, jobjectArray numbers, jobjectArray names, jintArray extendIds, jboolean hidden)
{
    const jsize length = env->GetArrayLength(numbers);
    std::vector<jint> ids(static_cast<std::size_t>(length));
    env->GetIntArrayRegion(extendIds, 0, length, ids.data());
    checkPending(env);
    std::vector<Text> texts;
    texts.reserve(2 * ids.size());
    for (jsize i = 0; i < length; ++i) {
        for (jobjectArray array : {numbers, names}) {
            const Local string(env, static_cast<jstring>(env->GetObjectArrayElement(array, i)));
            texts.emplace_back(env, string.get());
        }
    }
    std::vector<NumberListNode> nodes(ids.size());
    for (std::size_t i = 0; i < nodes.size(); ++i) {
        NumberListNode *const next = i + 1 < nodes.size() ? &nodes[i + 1] : nullptr;
        nodes[i] = {next, texts[2 * i + 1].inRecord(), texts[2 * i].inRecord(), ids[i]};
    }
    return VELQ_AddWhiteNumberListSync(nodes.empty() ? nullptr : nodes.data(), hidden != JNI_FALSE ? 1 : 0);
}

jint removeNumber(JNIEnv *env, jboolean isWhite, jstring number)
{
    Text text(env, number);
    const NumberRecord record{text.inRecord(), nullptr};
    return functionsOf(isWhite).remove(&record);
}

jint clear(JNIEnv *, jboolean isWhite, jint hidden)
{
    return functionsOf(isWhite).clear(hidden);
}

jint deleteUid(JNIEnv *, jboolean isWhite, jint uid)
{
    return functionsOf(isWhite).deleteUid(uid);
}

jint deleteExtendId(JNIEnv *, jboolean isWhite, jint extendId)
{
    return functionsOf(isWhite).deleteExtendId(extendId);
}

// out: the numbers and the names, as String[], and the link values, as int[].
jint entries(JNIEnv *env, jboolean isWhite, jint hidden, jobjectArray out)
{
    NumberListNode *list = nullptr;
    const jint code = functionsOf(isWhite).entries(&list, hidden);
    const Held held(list, functionsOf(isWhite).freeEntries);
    const jsize length = lengthOf(list);
    jclass string = checked(env, env->FindClass("java/lang/String"));
    jobjectArray numbers = checked(env, env->NewObjectArray(length, string, nullptr));
    jobjectArray names = checked(env, env->NewObjectArray(length, string, nullptr));
    std::vector<jint> ids;
    ids.reserve(static_cast<std::size_t>(length));
    const NumberListNode *node = list;
    for (jsize i = 0; i < length; ++i, node = node->next) {
        setElement(env, numbers, i, Local(env, toJava(env, node->number)).get());
        setElement(env, names, i, Local(env, toJava(env, node->name)).get());
        ids.push_back(node->extendID);
    }
    setElement(env, out, 0, numbers);
    setElement(env, out, 1, names);
    setElement(env, out, 2, toJava(env, ids));
    return code;
}

// out: an int[].
jint uids(JNIEnv *env, jboolean isWhite, jint hidden, jobjectArray out)
{
    UIDListNode *list = nullptr;
    const jint code = functionsOf(isWhite).uids(&list, hidden);
    const Held held(list, functionsOf(isWhite).freeUids);
    std::vector<jint> values;
    for (const UIDListNode *node = list; node != nullptr; node = node->next) {
        values.push_back(node->uid);
    }
    setElement(env, out, 0, toJava(env, values));
    return code;
}

// out: number and name, which stay null where there is no such entry.
jint read(JNIEnv *env, jboolean isWhite, jint uid, jobjectArray out)
{
    NumberRecord record{};
    const jint code = functionsOf(isWhite).read(&record, uid);
    const Held held(&record, functionsOf(isWhite).freeRecord);
    if (record.number != nullptr) {
        setElement(env, out, 0, toJava(env, record.number));
        setElement(env, out, 1, toJava(env, record.name));
    }
    return code;
}

jint count(JNIEnv *env, jboolean isWhite, jintArray out)
{
    int32_t entries = 0;
    const jint code = functionsOf(isWhite).count(&entries);
    setInt(env, out, entries);
    return code;
}

// ---- Versions and updates --------------------------------------------------------------------------

jint version(JNIEnv *env, jint kind, jintArray out)
{
    VersionRecord record{kind, 0};
    const jint code = VELQ_GetCurVersion(&record);
    setInt(env, out, record.version);
    return code;
}

jint update(JNIEnv *env, jstring probability, jint probabilityVersion, jstring whiteNumbers, jint whiteNumbersVersion)
{
    const Text probabilityPath(env, probability);
    const Text whiteNumbersPath(env, whiteNumbers);
    return VELQ_UpdateData(probabilityPath.get(), probabilityVersion, whiteNumbersPath.get(), whiteNumbersVersion);
}

// ---- Entries that do nothing -----------------------------------------------------------------------

template <auto entry>
int32_t callWithoutResult()
{
    entry(nullptr);
    return VELQ_SUCCESS;
}

// In the order of velq.ReservedEntry.
constexpr std::array<int32_t (*)(), 19> reservedEntries = {
    [] { return VELQ_CheckSpamMsgASync(); },
    [] { return VELQ_GetSpamMsgList(nullptr); },
    [] { return VELQ_ReadSpamMsg(nullptr); },
    [] { return VELQ_DeleteSpamMsg(nullptr); },
    [] { return VELQ_DeleteAllSpamMsg(nullptr); },
    [] { return VELQ_AddSpamMsg(nullptr, nullptr, nullptr); },
    [] { return VELQ_GetMsgUIDList(nullptr); },
    [] { return VELQ_GetTotalCountOfMsg(nullptr); },
    callWithoutResult<VELQ_FreeSpamMsgList>,
    callWithoutResult<VELQ_FreeSpamMsgBuf>,
    callWithoutResult<VELQ_FreeMsgUIDList>,
    [] { return VELQ_MT_AddWhiteNumber(nullptr); },
    [] { return VELQ_MT_DumpBin(nullptr); },
    [] { return VELQ_MT_End_Training(nullptr); },
    [] { return VELQ_MT_GetCurrentVersion(nullptr); },
    [] { return VELQ_MT_RegisterMsg(nullptr); },
    [] { return VELQ_MT_Start_Training(nullptr); },
    [] { return VELQ_MT_UpdateVersion(nullptr); },
    [] { return VELQ_MT_UpdateWordDict(nullptr); },
};

jint callReserved(JNIEnv *, jint entry)
{
    return reservedEntries.at(static_cast<std::size_t>(entry))();
}

// ---- Text preparation ------------------------------------------------------------------------------

jstring prepare(JNIEnv *env, jstring string)
{
    const Text text(env, string);
    std::vector<VELQ_WideChar> prepared(velq_prepare_text(text.get(), nullptr, 0));
    velq_prepare_text(text.get(), prepared.data(), prepared.size());
    return toJava(env, prepared.data());
}

void refuseZero(JNIEnv *env, jstring string)
{
    const Text text(env, string);
}

// ---- Binding ---------------------------------------------------------------------------------------

template <typename Type>
struct Letters;
template <>
struct Letters<void> {
    static constexpr const char *text = "V";
};
template <>
struct Letters<jboolean> {
    static constexpr const char *text = "Z";
};
template <>
struct Letters<jint> {
    static constexpr const char *text = "I";
};
template <>
struct Letters<jintArray> {
    static constexpr const char *text = "[I";
};
template <>
struct Letters<jstring> {
    static constexpr const char *text = "Ljava/lang/String;";
};
template <>
struct Letters<jobjectArray> {
    static constexpr const char *text = "[Ljava/lang/Object;";
};

// What Java calls for a function of this file, and the signature by which it looks for it.
template <auto function, typename = decltype(function)>
struct Method;

template <auto function, typename Result, typename... Arguments>
struct Method<function, Result (*)(JNIEnv *, Arguments...)> {
    static Result JNICALL call(JNIEnv *env, jclass /*native*/, Arguments... arguments) noexcept
    {
        try {
            return function(env, arguments...);
        } catch (const PendingInJava &) {
            // It reaches the caller when this function ends.
        } catch (const std::bad_alloc &) {
            raise(env, "java/lang/OutOfMemoryError", "no memory for a call of the engine");
        } catch (const std::exception &failure) {
            raise(env, "java/lang/IllegalStateException", failure.what());
        }
        return Result();
    }
    static std::string signature()
    {
        return (std::string("(") + ... + Letters<Arguments>::text) + ")" + Letters<Result>::text;
    }
};

struct Binding {
    const char *name;
    std::string signature;
    void *call;
};

template <auto function>
Binding binding(const char *name)
{
    using Bound = Method<function>;
    return {name, Bound::signature(), reinterpret_cast<void *>(&Bound::call)};
}

std::vector<Binding> allBindings()
{
    return {binding<start>("start"),
            binding<stop>("stop"),
            binding<rate>("rate"),
            binding<markHam>("markHam"),
            binding<markSpam>("markSpam"),
            binding<add>("add"),
            binding<addAll>("addAll"),
            binding<removeNumber>("remove"),
            binding<clear>("clear"),
            binding<deleteUid>("deleteUid"),
            binding<deleteExtendId>("deleteExtendId"),
            binding<entries>("entries"),
            binding<uids>("uids"),
            binding<read>("read"),
            binding<count>("count"),
            binding<version>("version"),
            binding<update>("update"),
            binding<callReserved>("callReserved"),
            binding<prepare>("prepare"),
            binding<refuseZero>("refuseZero")};
}

// False where a Java exception is pending or memory is out.
bool bindAll(JNIEnv *env) noexcept
{
    try {
        std::vector<Binding> bindings = allBindings();
        std::vector<JNINativeMethod> methods;
        methods.reserve(bindings.size());
        for (Binding &bound : bindings) {
            // The field is a plain char * in some headers; what it points to is only read.
            methods.push_back({const_cast<char *>(bound.name), bound.signature.data(), bound.call});
        }
        const Local native(env, env->FindClass("velq/Native"));
        return env->RegisterNatives(native.get(), methods.data(), static_cast<jint>(methods.size())) == JNI_OK;
    } catch (const PendingInJava &) {
        return false;
    } catch (const std::bad_alloc &) {
        return false;
    }
}

} // namespace

extern "C" JNIEXPORT jint JNICALL JNI_OnLoad(JavaVM *machine, void * /*reserved*/)
{
    void *env = nullptr;
    if (machine->GetEnv(&env, JNI_VERSION_1_6) != JNI_OK || !bindAll(static_cast<JNIEnv *>(env))) {
        return JNI_ERR;
    }
    return JNI_VERSION_1_6;
}
