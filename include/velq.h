/*
 * velq.h - the public interface of velq, a spam filter engine for short messages.
 *
 * What holds for every function
 * -----------------------------
 * Text       "Wide text" is a pointer to UTF-16 code units in the machine's byte order, ended by a zero
 *            unit. Lengths are counted in code units without that terminator. In C++ the unit is
 *            char16_t, in C an unsigned 16-bit integer, and wchar_t where wchar_t has 16 bits.
 * Results    A function that returns int32_t returns 0 for success or one of the negative VELQ_ codes
 *            below; its own text lists all that it can return. Output arguments hold what that text says
 *            after a failure; where it says nothing they are untouched.
 * Null       A null output pointer gives VELQ_ERR_FAILED. A null message body or sender number is read
 *            as empty text, unless the function says otherwise.
 * Memory     What the engine hands out (lists, record texts) it has allocated; release it with the
 *            free function named there, before VELQ_Finalize. What the caller passes in stays the
 *            caller's and is only read.
 * Order      VELQ_Initialize or VELQ_Norix_Initialize comes first, a finalisation last. Before and after,
 *            functions return VELQ_NOT_INITIALIZED, where their own text lists it, and the free functions
 *            do nothing.
 * Threads    The engine starts no thread and takes no lock. Start and stop exclude every other call.
 *            Rating (VELQ_CheckSpamMsgSync) and feedback (VELQ_SetMsgAsHam, VELQ_SetMsgAsSpam) share one
 *            working state: the host never runs two of them at the same time. After VELQ_Norix_Initialize
 *            the same holds for VELQ_AddBlackNumberSync and VELQ_AddWhiteNumberSync, which look numbers up
 *            through the connections that rating uses: never two of these five at the same time. All other
 *            number list functions and VELQ_GetCurVersion may run on any thread beside each other and
 *            beside those. While VELQ_UpdateData runs, feedback, the number list functions and
 *            VELQ_GetCurVersion answer VELQ_ERR_BUSY, and rating works; the host starts updates from one
 *            thread at a time.
 * Waiting    A data file locked by another connection is waited for at most five times 50 milliseconds
 *            for each lock; then the operation fails. A function may run several operations.
 * Filter     Rating and feedback read what a fixed filter leaves of a body. It drops blanks, ASCII punctuation
 *            but , and &, Chinese punctuation, and U+0081 to U+00FD, letters with accents among them. It
 *            folds A to Z, and keeps such a letter, small or capital, only beside a small letter a to z. All
 *            else stays as it is: digits, other scripts in either case, characters that cannot be seen. Of
 *            "FREE PRIZE" nothing is left, of "Hi, an iPhone" "h,anphone", of "f\u00FCr \u00FCber" "ber". Hosts
 *            should prepare every body with velq_prepare_text (velq_text.h) before they pass it.
 * Log        Failed operations leave a line in engine.log (norix-engine.log) in the program directory;
 *            refused arguments do not always. A file named enable-debug beside it, present at the start,
 *            adds a trace of every step and the few failures that belong to it. The trace holds message
 *            bodies and numbers.
 */
#ifndef VELQ_H
#define VELQ_H

#include <stdint.h>
#include <wchar.h>

#define VELQ_VERSION_MAJOR 1
#define VELQ_VERSION_MINOR 0
#define VELQ_VERSION_PATCH 0

#if defined(__GNUC__) && WCHAR_MAX > 0xFFFF
#define VELQ_API __attribute__((visibility("default")))
#else
#define VELQ_API
#endif

#ifdef __cplusplus
#define VELQ_NOEXCEPT noexcept
extern "C" {
#else
#define VELQ_NOEXCEPT
#endif

/* One UTF-16 code unit; VELQ_TEXT("...") makes a wide text of a string literal. */
#if WCHAR_MAX <= 0xFFFF
typedef wchar_t VELQ_WideChar;
#define VELQ_TEXT(literal) L##literal
#elif defined(__cplusplus)
typedef char16_t VELQ_WideChar;
#define VELQ_TEXT(literal) u##literal
#else
typedef uint_least16_t VELQ_WideChar;
#define VELQ_TEXT(literal) u##literal
#endif

/* Result codes. Numbers never change; new ones are added at the end. */
enum {
    VELQ_SUCCESS = 0,            /* done */
    VELQ_NOT_INITIALIZED = -1,   /* no initialisation is in force */
    VELQ_ERR_FAILED = -2,        /* bad argument or failed operation */
    VELQ_ERR_BUSY = -4,          /* a data update is running */
    VELQ_ERR_DATABASE_FULL = -6, /* VELQ_AddWhiteNumberListSync: the data file cannot grow */
    VELQ_ERR_NOT_SUPPORTED = -7, /* VELQ_CheckSpamMsgASync: not offered */
    VELQ_ERR_BATCH_FAILED = -8,  /* VELQ_AddWhiteNumberListSync: bad node or any other failure */
    VELQ_ERR_BATCH_ARGUMENT = -9 /* VELQ_AddWhiteNumberListSync: hidden not 0 or 1, or empty list */
};

/* Ratings that VELQ_CheckSpamMsgSync writes. */
enum {
    VELQ_RATING_SPAM = 0,  /* unwanted */
    VELQ_RATING_HAM = 1,   /* wanted */
    VELQ_RATING_UNSURE = 2 /* the engine cannot tell */
};

/* Kinds of downloadable data, for VersionRecord. */
enum {
    VELQ_DATA_PROBABILITY = 0,   /* token statistics */
    VELQ_DATA_WHITE_NUMBERS = 1, /* delivered white numbers */
    VELQ_DATA_RULES = 2          /* rules; no update of them exists in this release */
};

/* The longest number (characters) and name (code units) that a list entry takes. */
enum { VELQ_MAX_NUMBER_LENGTH = 29, VELQ_MAX_NAME_LENGTH = 29 };

/* Filter value of the list functions: entries whatever their hidden flag. */
enum { VELQ_HIDDEN_ANY = -1 };

/* One number. The order of the fields differs from NumberListNode. */
typedef struct NumberRecord {
    VELQ_WideChar *number; /* as displayed, at most 29 characters; the low byte of each unit is kept */
    VELQ_WideChar *name;   /* display name, at most 29 units; null on input means no name */
} NumberRecord;

/* One element of a list of numbers. */
typedef struct NumberListNode {
    struct NumberListNode *next; /* null in the last element */
    VELQ_WideChar *name;
    VELQ_WideChar *number;
    int32_t extendID; /* the caller's link value stored with the entry */
} NumberListNode;

/* One element of a list of entry identifiers. */
typedef struct UIDListNode {
    struct UIDListNode *next; /* null in the last element */
    int32_t uid;
} UIDListNode;

/* The installed version of one kind of data. */
typedef struct VersionRecord {
    int32_t command; /* in: VELQ_DATA_... */
    int32_t version; /* out */
} VersionRecord;

/* ---- Start and stop ---------------------------------------------------------------------------- */

/*
 * Starts the engine on an installation and checks that its five data files exist.
 *
 * programDir  in: the program directory, ending exactly in "Quenlibra\Tarvolent" (a backslash between the
 *             names, on every platform; no trailing one). Above those two names the system's own separator
 *             does as well. At most 238 bytes in UTF-8. Read during the call only.
 *
 * A second call while started does nothing and returns 0. After a failure the engine is not started; the
 * log may stay open until a later start.
 *
 *  0  started, or was started already
 * -2  programDir is null, too long or does not end as said; a data file is missing (the log names it); or
 *     memory is out
 */
VELQ_API int32_t VELQ_Initialize(const VELQ_WideChar *programDir) VELQ_NOEXCEPT;

/*
 * Starts the engine like VELQ_Initialize, but opens the token store, the white list and the black list and
 * keeps them open, so that rating opens no file. Logs to norix-engine.log.
 *
 * programDir  in: as for VELQ_Initialize
 *
 * A second call while started does nothing, logs a warning and returns 0.
 *
 *  0  started, or was started already
 * -2  programDir is null, too long or does not end as said; one of the three files cannot be opened; or
 *     memory is out
 */
VELQ_API int32_t VELQ_Norix_Initialize(const VELQ_WideChar *programDir) VELQ_NOEXCEPT;

/*
 * Stops the engine and closes the log. Closes no kept connection: after VELQ_Norix_Initialize call
 * VELQ_Norix_Finalize.
 *
 *  0  stopped
 * -1  not started
 */
VELQ_API int32_t VELQ_Finalize(void) VELQ_NOEXCEPT;

/*
 * Stops the engine and closes the log and the kept connections.
 *
 *  0  stopped
 * -1  not started
 */
VELQ_API int32_t VELQ_Norix_Finalize(void) VELQ_NOEXCEPT;

/* ---- Rating and feedback ----------------------------------------------------------------------- */

/*
 * Rates one message. Works also while an update runs.
 *
 * The black list, the operator rule (numbers beginning 10086), the white list, the length of the text
 * without punctuation and the classifier are asked in this order. Messages found to be spam, and messages
 * of white-listed senders, train the token store.
 *
 * rating  out: VELQ_RATING_...; UNSURE also when the store could not be read
 * body    in: the message's text, best prepared; null is empty
 * number  in: the sender; the first 39 characters count; null is empty
 *
 *  0  rated
 * -1  not started
 * -2  rating is null
 */
VELQ_API int32_t VELQ_CheckSpamMsgSync(uint32_t *rating, const VELQ_WideChar *body,
                                       const VELQ_WideChar *number) VELQ_NOEXCEPT;

/*
 * Reserved for asynchronous rating.
 *
 * -7  always, started or not
 */
VELQ_API int32_t VELQ_CheckSpamMsgASync(void) VELQ_NOEXCEPT;

/*
 * The user says that a message is wanted: moves its words from the spam to the ham side and takes the
 * sender off the black list.
 *
 * body    in: the message's text; null is empty
 * number  in: the sender, at most 29 characters
 *
 *  0  done, also when the number was on no list, and when the words could not be moved (the log tells)
 * -1  not started
 * -2  number is null or too long, or the black list could not be written (the words are moved all the same)
 * -4  an update is running
 */
VELQ_API int32_t VELQ_SetMsgAsHam(const VELQ_WideChar *body, const VELQ_WideChar *number) VELQ_NOEXCEPT;

/*
 * The user says that a message is spam: moves its words from the ham to the spam side. The lists stay as
 * they are.
 *
 * body  in: the message's text; null is empty
 *
 *  0  done, also when the store was opened but could not be written (the log tells)
 * -1  not started
 * -2  the token store could not be opened, or memory is out (one of the two sides may have been changed)
 * -4  an update is running
 */
VELQ_API int32_t VELQ_SetMsgAsSpam(const VELQ_WideChar *body) VELQ_NOEXCEPT;

/* ---- Editing the number lists ------------------------------------------------------------------ */

/*
 * Adds a number to the black (white) list after taking it off the other list. Two numbers are the same when
 * their last 11 characters agree, or, below 11 characters, when they are equal. A number that the list
 * already holds is left as it is. An empty number matches nothing, itself included.
 *
 * record    in: number (required) and name (may be null)
 * hidden    in: 0 or 1, stored with the entry
 * extendID  in: the caller's link value, stored with the entry
 *
 *  0  added, or already there
 * -1  not started
 * -2  record or its number is null, or number or name is too long (nothing changed); hidden is not 0 or 1,
 *     or the list could not be read or written (the number may have left the other list)
 * -4  an update is running
 */
VELQ_API int32_t VELQ_AddBlackNumberSync(const NumberRecord *record, int32_t hidden, int32_t extendID) VELQ_NOEXCEPT;
VELQ_API int32_t VELQ_AddWhiteNumberSync(const NumberRecord *record, int32_t hidden, int32_t extendID) VELQ_NOEXCEPT;

/*
 * Adds a chain of entries to the white list in one transaction: all or none. Nothing is compared with what
 * the list holds, and the black list is not touched.
 *
 * list    in: first node; the chain ends with a null next; each node's number is required
 * hidden  in: 0 or 1, stored with every entry
 *
 *  0  all added
 * -1  not started
 * -4  an update is running
 * -6  the data file is full (nothing added)
 * -8  a node has no number, or a number or name is too long; or any other failure (nothing added)
 * -9  list is null, or hidden is not 0 or 1
 */
VELQ_API int32_t VELQ_AddWhiteNumberListSync(const NumberListNode *list, int32_t hidden) VELQ_NOEXCEPT;

/*
 * Removes every entry that matches the record's number (as in VELQ_AddBlackNumberSync) from the black (white)
 * list.
 *
 * record  in: the number; its name is not used, but must not be too long
 *
 *  0  done, also when nothing matched
 * -1  not started
 * -2  record or its number is null, number or name is too long, or the list could not be written
 * -4  an update is running
 */
VELQ_API int32_t VELQ_RemoveBlackNumberSync(const NumberRecord *record) VELQ_NOEXCEPT;
VELQ_API int32_t VELQ_RemoveWhiteNumberSync(const NumberRecord *record) VELQ_NOEXCEPT;

/*
 * Removes all entries of the black (white) list, or those with one value of the hidden flag.
 *
 * hidden  in: VELQ_HIDDEN_ANY, 0 or 1
 *
 *  0  done, also when there was no such entry
 * -1  not started
 * -2  another value of hidden, or the list could not be written
 * -4  an update is running
 */
VELQ_API int32_t VELQ_RemoveAllBlackNumberSync(int32_t hidden) VELQ_NOEXCEPT;
VELQ_API int32_t VELQ_RemoveAllWhiteNumberSync(int32_t hidden) VELQ_NOEXCEPT;

/*
 * Removes the entry with an identifier from the black (white) list.
 *
 * uid  in: as given by the UID list functions
 *
 *  0  done, also when there is no such entry
 * -1  not started
 * -2  the list could not be written
 * -4  an update is running
 */
VELQ_API int32_t VELQ_DeleteBlackNumberByUID(int32_t uid) VELQ_NOEXCEPT;
VELQ_API int32_t VELQ_DeleteWhiteNumberByUID(int32_t uid) VELQ_NOEXCEPT;

/*
 * Removes every entry with a link value from the black (white) list.
 *
 * extendID  in: the value given when the entries were added
 *
 *  0  done, also when there is no such entry
 * -1  not started
 * -2  the list could not be written
 * -4  an update is running
 */
VELQ_API int32_t VELQ_DeleteBlackNumberByExtendID(int32_t extendID) VELQ_NOEXCEPT;
VELQ_API int32_t VELQ_DeleteWhiteNumberByExtendID(int32_t extendID) VELQ_NOEXCEPT;

/* ---- Reading the number lists ------------------------------------------------------------------ */

/*
 * Reads the black (white) list.
 *
 * head    in/out: must point to null; on return the first node, or null for an empty list. Release with
 *         VELQ_FreeBlackNumberList or VELQ_FreeWhiteNumberList, which are the same.
 * hidden  in: VELQ_HIDDEN_ANY, 0 or 1
 *
 * A read error or lack of memory in the middle ends the list early, with result 0.
 *
 *  0  read
 * -1  not started
 * -2  head is null, another value of hidden, the list could not be opened, or its file is beyond a bound that
 *     the log names (nothing is returned)
 * -4  an update is running
 */
VELQ_API int32_t VELQ_GetBlackNumberList(NumberListNode **head, int32_t hidden) VELQ_NOEXCEPT;
VELQ_API int32_t VELQ_GetWhiteNumberList(NumberListNode **head, int32_t hidden) VELQ_NOEXCEPT;

/*
 * Reads the identifiers of the black (white) list.
 *
 * head    in/out: must point to null; on return the first node, or null for an empty list. Release with
 *         VELQ_FreeBlackNumberUIDList or VELQ_FreeWhiteNumberUIDList, which are the same.
 * hidden  in: VELQ_HIDDEN_ANY, 0 or 1
 *
 * A read error or lack of memory in the middle ends the list early, with result 0.
 *
 *  0  read
 * -1  not started
 * -2  head is null, another value of hidden, the list could not be opened, or its file is beyond a bound that
 *     the log names (nothing is returned)
 * -4  an update is running
 */
VELQ_API int32_t VELQ_GetBlackNumberUIDList(UIDListNode **head, int32_t hidden) VELQ_NOEXCEPT;
VELQ_API int32_t VELQ_GetWhiteNumberUIDList(UIDListNode **head, int32_t hidden) VELQ_NOEXCEPT;

/*
 * Reads one entry of the black (white) list.
 *
 * record  out: both pointers must be null on entry; a found entry sets both, otherwise they stay. Release
 *         the texts with VELQ_FreeBlackNumber or VELQ_FreeWhiteNumber, which are the same.
 * uid     in: as given by the UID list functions
 *
 *  0  read, also when there is no such entry
 * -1  not started
 * -2  record is null, the list could not be read, or memory is out
 * -4  an update is running
 */
VELQ_API int32_t VELQ_ReadBlackNumberByUID(NumberRecord *record, int32_t uid) VELQ_NOEXCEPT;
VELQ_API int32_t VELQ_ReadWhiteNumberByUID(NumberRecord *record, int32_t uid) VELQ_NOEXCEPT;

/*
 * Counts the entries of the black (white) list.
 *
 * count  out: entries, hidden ones included
 *
 *  0  counted
 * -1  not started
 * -2  count is null, or the list could not be read
 * -4  an update is running
 */
VELQ_API int32_t VELQ_GetTotalCountOfBlackNumber(int32_t *count) VELQ_NOEXCEPT;
VELQ_API int32_t VELQ_GetTotalCountOfWhiteNumber(int32_t *count) VELQ_NOEXCEPT;

/*
 * Release what the reading functions returned. They do nothing before a start and after a stop (the memory
 * then stays allocated) and for null, and have no result.
 *
 * list    in: a whole chain, from its head
 * record  in/out: its two texts are released and set to null; the record stays the caller's
 */
VELQ_API void VELQ_FreeBlackNumberList(NumberListNode *list) VELQ_NOEXCEPT;
VELQ_API void VELQ_FreeWhiteNumberList(NumberListNode *list) VELQ_NOEXCEPT;
VELQ_API void VELQ_FreeMsgUIDList(UIDListNode *list) VELQ_NOEXCEPT;
VELQ_API void VELQ_FreeBlackNumberUIDList(UIDListNode *list) VELQ_NOEXCEPT;
VELQ_API void VELQ_FreeWhiteNumberUIDList(UIDListNode *list) VELQ_NOEXCEPT;
VELQ_API void VELQ_FreeWhiteNumber(NumberRecord *record) VELQ_NOEXCEPT;
VELQ_API void VELQ_FreeBlackNumber(NumberRecord *record) VELQ_NOEXCEPT;

/* ---- Data versions and updates ----------------------------------------------------------------- */

/*
 * Reads the installed version of one kind of data.
 *
 * record  in/out: command in, version out; 0 when no version is recorded
 *
 *  0  read, also when no version is recorded
 * -1  not started
 * -2  record is null, or the version file could not be read
 * -4  an update is running
 */
VELQ_API int32_t VELQ_GetCurVersion(VersionRecord *record) VELQ_NOEXCEPT;

/*
 * Merges data updates. The files are only read. Each is merged whole or not at all, and its version is recorded after a
 * successful merge. A failed probability merge does not stop the white-number merge; the result is that of
 * the last operation run. A merge whose target stays locked is skipped and counts as done: its version is
 * recorded all the same. A white-number update whose last row the list holds already, from an earlier
 * update, is rolled back and fails.
 *
 * probPath     in: probability update file, or null for none; below 256 bytes in UTF-8
 * probVersion  in: the version to record for it
 * wnPath       in: white-number update file, or null for none; below 256 bytes in UTF-8
 * wnVersion    in: the version to record for it
 *
 *  0  the last operation succeeded
 * -1  not started
 * -2  both paths null (also during an update); a path too long, not to be converted, or memory is out
 *     (nothing is merged); or the last operation failed
 * -4  an update is already running
 */
VELQ_API int32_t VELQ_UpdateData(const VELQ_WideChar *probPath, int32_t probVersion, const VELQ_WideChar *wnPath,
                                 int32_t wnVersion) VELQ_NOEXCEPT;

/* ---- Entries that do nothing ------------------------------------------------------------------- */

/*
 * The message store entries take part in the interface but keep no messages. Arguments are ignored.
 *
 *  0  done: always, once started
 * -1  not started
 */
VELQ_API int32_t VELQ_GetSpamMsgList(void *ignored) VELQ_NOEXCEPT;
VELQ_API int32_t VELQ_ReadSpamMsg(void *ignored) VELQ_NOEXCEPT;
VELQ_API int32_t VELQ_DeleteSpamMsg(void *ignored) VELQ_NOEXCEPT;
VELQ_API int32_t VELQ_DeleteAllSpamMsg(void *ignored) VELQ_NOEXCEPT;
VELQ_API int32_t VELQ_AddSpamMsg(void *ignored, const VELQ_WideChar *number, void *ignoredToo) VELQ_NOEXCEPT;
VELQ_API int32_t VELQ_GetMsgUIDList(void *ignored) VELQ_NOEXCEPT;
VELQ_API int32_t VELQ_GetTotalCountOfMsg(void *ignored) VELQ_NOEXCEPT;

/* The releasing entries of the message store. They do nothing and have no result. */
VELQ_API void VELQ_FreeSpamMsgList(void *ignored) VELQ_NOEXCEPT;
VELQ_API void VELQ_FreeSpamMsgBuf(void *ignored) VELQ_NOEXCEPT;

/*
 * Reserved entries. Arguments are ignored.
 *
 *  0  always, started or not
 */
VELQ_API int32_t VELQ_MT_AddWhiteNumber(void *ignored) VELQ_NOEXCEPT;
VELQ_API int32_t VELQ_MT_DumpBin(void *ignored) VELQ_NOEXCEPT;
VELQ_API int32_t VELQ_MT_End_Training(void *ignored) VELQ_NOEXCEPT;
VELQ_API int32_t VELQ_MT_GetCurrentVersion(void *ignored) VELQ_NOEXCEPT;
VELQ_API int32_t VELQ_MT_RegisterMsg(void *ignored) VELQ_NOEXCEPT;
VELQ_API int32_t VELQ_MT_Start_Training(void *ignored) VELQ_NOEXCEPT;
VELQ_API int32_t VELQ_MT_UpdateVersion(void *ignored) VELQ_NOEXCEPT;
VELQ_API int32_t VELQ_MT_UpdateWordDict(void *ignored) VELQ_NOEXCEPT;

#ifdef __cplusplus
}
#endif

#endif
