// The installation is built once for each process and kept as bytes, so that an input costs five file writes to begin
// with and no schema work.
#include "fuzz_harness.h"

#include "VELQ_Word_Seg.h"
#include "platform/platform.h"
#include "velq_schema.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <sqlite3.h>
#include <unistd.h>

namespace velq::fuzz {

using test::dataFileNames;

namespace {

// Words of the token store, and what the text filter and the decision rules look at.
const std::array<WideText, 24> bodyPieces = {VELQ_TEXT("free"),
                                             VELQ_TEXT("win"),
                                             VELQ_TEXT("cash"),
                                             VELQ_TEXT("prize"),
                                             VELQ_TEXT("call"),
                                             VELQ_TEXT("now"),
                                             VELQ_TEXT("lunch"),
                                             VELQ_TEXT("home"),
                                             VELQ_TEXT("tonight"),
                                             VELQ_TEXT("\u53d1\u7968"),
                                             VELQ_TEXT("\u4f18\u60e0"),
                                             VELQ_TEXT("\u5403\u996d"),
                                             VELQ_TEXT("\u4eca\u5929\u665a\u4e0a"),
                                             VELQ_TEXT("1381234567"),
                                             VELQ_TEXT("-"),
                                             VELQ_TEXT("\uff0c"),
                                             VELQ_TEXT("\u3002"),
                                             VELQ_TEXT(" a "),
                                             VELQ_TEXT("Hi!!"),
                                             VELQ_TEXT("\u00e9"),
                                             VELQ_TEXT("\r\n"),
                                             VELQ_TEXT(".MSG_CNT"),
                                             VELQ_TEXT("\U0001F600"),
                                             VELQ_TEXT("offer")};

const std::array<WideText, 10> numberPieces = {
    VELQ_TEXT("13812345678"), VELQ_TEXT("+86"),    VELQ_TEXT("10086"), VELQ_TEXT("13900001111"), VELQ_TEXT("95588"),
    VELQ_TEXT("0086"),        VELQ_TEXT("106575"), VELQ_TEXT("ABC"),   VELQ_TEXT("12345678901"), VELQ_TEXT("\u0131")};

long outstandingAllocations = 0;

void *countingAllocate(std::size_t size) noexcept
{
    void *memory = systemPlatformCalls().allocate(size);
    outstandingAllocations += memory != nullptr ? 1 : 0;
    return memory;
}

void countingRelease(void *memory) noexcept
{
    outstandingAllocations -= memory != nullptr ? 1 : 0;
    systemPlatformCalls().release(memory);
}

void skipSleep(std::uint32_t) noexcept {}

int openFiles()
{
    int count = 0;
    for (const auto &entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        count += entry.exists() || entry.is_symlink() ? 1 : 0;
    }
    return count;
}

void fillInstallation(test::Installation &made)
{
    std::uint32_t count = 3;
    std::vector<test::TokenRow> rows;
    for (const WideText &piece : bodyPieces) {
        for (const std::size_t length : {std::size_t{4}, std::size_t{3}, std::size_t{2}}) {
            if (piece.size() >= length) {
                rows.push_back({piece.substr(0, length), {count % 90, (count * 7) % 61, count % 5}});
                count += 11;
            }
        }
    }
    made.addTokens(rows);
    made.setMessageCounts(90, 70, 2);
    made.setPrior(480000);
    made.addNumber(NumberList::black, "13900001111", 0, VELQ_TEXT("spammer"), 1);
    made.addNumber(NumberList::black, "95588", 1, {}, 2);
    made.addNumber(NumberList::white, "13812345678", 0, VELQ_TEXT("friend"), 3);
    made.addNumber(NumberList::white, "106575", 1, VELQ_TEXT("bank"), 4);
}

struct Fixture {
    test::Installation installed;
    std::array<std::string, dataFileNames.size()> bytes;
    sqlite3_int64 databaseMemory; // in use while nothing is open

    Fixture()
    {
        fillInstallation(installed);
        for (std::size_t i = 0; i < dataFileNames.size(); ++i) {
            bytes[i] = readFile(installed.dataFile(dataFileNames[i]));
        }
        platformCalls.allocate = countingAllocate;
        platformCalls.release = countingRelease;
        platformCalls.sleepMilliseconds = skipSleep;
        databaseMemory = sqlite3_memory_used();
    }
};

Fixture &fixture()
{
    static const bool isInMemory = [] {
        // A folder that the caller has chosen stays.
        if (std::getenv("TMPDIR") == nullptr && access("/dev/shm", W_OK) == 0) {
            setenv("TMPDIR", "/dev/shm", 1);
        }
        return true;
    }();
    (void)isInMemory;
    static Fixture made;
    return made;
}

// Lists end under the same rule for every reader: the last eleven characters, or all of a shorter number.
bool matches(const std::string &first, const std::string &second)
{
    constexpr std::size_t compared = 11;
    if (first.empty() || second.empty()) {
        return false;
    }
    if (first.size() >= compared && second.size() >= compared) {
        return first.compare(0, compared, second, 0, compared) == 0;
    }
    return first == second;
}

std::string keyOf(const WideText &number)
{
    std::string key;
    for (const VELQ_WideChar unit : number) {
        key += static_cast<char>(unit & 0xFF);
    }
    key = key.substr(0, key.find('\0'));
    return {key.rbegin(), key.rend()};
}

bool isListed(NumberList list, const std::string &key)
{
    const test::Rows rows = installation().numberRows(list);
    return std::any_of(rows.begin(), rows.end(), [&key](const test::Row &row) {
        const std::string &stored = row.at(2).bytes;
        return matches(stored.substr(0, stored.find('\0')), key);
    });
}

} // namespace

void requireResult(std::int32_t result, std::initializer_list<std::int32_t> documented, const char *what)
{
    if (std::find(documented.begin(), documented.end(), result) == documented.end()) {
        std::fprintf(stderr, "finding: %s returned %d\n", what, static_cast<int>(result));
        std::abort();
    }
}

std::uint8_t Input::byte()
{
    return at_ < size_ ? data_[at_++] : std::uint8_t{0};
}

std::uint32_t Input::below(std::uint32_t limit)
{
    return byte() % limit;
}

std::int32_t Input::integer()
{
    // Small values are the common ones; four bytes of 0xFF and on make any.
    const std::uint8_t first = byte();
    if (first != 0xFF) {
        return static_cast<std::int8_t>(first);
    }
    std::uint32_t value = 0;
    for (int i = 0; i < 4; ++i) {
        value = value << 8 | byte();
    }
    return static_cast<std::int32_t>(value);
}

std::string Input::bytes(std::size_t most)
{
    std::string out;
    const std::size_t count = std::min<std::size_t>(byte(), most);
    while (out.size() < count && !isAtEnd()) {
        out += static_cast<char>(byte());
    }
    return out;
}

template <std::size_t count>
static WideText readPieces(Input &input, const std::array<WideText, count> &pieces, std::size_t most)
{
    WideText out;
    std::size_t left = input.byte();
    while (left-- > 0 && out.size() < most && !input.isAtEnd()) {
        const std::uint8_t piece = input.byte();
        if (piece == 0xFF) {
            const auto unit = static_cast<VELQ_WideChar>(input.byte() << 8 | input.byte());
            out += unit != 0 ? unit : VELQ_WideChar{1};
        } else if (piece >= 0x80) {
            out += pieces[(piece - 0x80) % count];
        } else {
            out += static_cast<VELQ_WideChar>(piece != 0 ? piece : '0');
        }
    }
    return out.substr(0, most);
}

WideText Input::text(std::size_t most)
{
    return readPieces(*this, bodyPieces, most);
}

WideText Input::number(std::size_t most)
{
    return readPieces(*this, numberPieces, most);
}

const test::Installation &installation()
{
    return fixture().installed;
}

std::filesystem::path updateFile()
{
    return fixture().installed.folder() / "update.db";
}

void restoreInstallation()
{
    Fixture &made = fixture();
    for (std::size_t i = 0; i < dataFileNames.size(); ++i) {
        const std::filesystem::path file = made.installed.dataFile(dataFileNames[i]);
        for (const char *suffix : {"-journal", "-wal", "-shm"}) {
            unlink((file.string() + suffix).c_str());
        }
        writeFile(file, made.bytes[i]);
    }
    for (const char *suffix : {"", "-journal", "-wal", "-shm"}) {
        unlink((updateFile().string() + suffix).c_str());
    }
    for (const char *name : {"engine.log", "norix-engine.log", "enable-debug"}) {
        unlink(made.installed.logFile(name).c_str());
    }
}

Engine::Engine(StartVariant variant) : filesBefore_((installation(), openFiles())), session_(installation(), variant)
{
    requireResult(session_.result(), {VELQ_SUCCESS}, "a start");
}

Engine::~Engine()
{
    require(session_.stop() == 0, "the engine did not stop");
    require(outstandingAllocations == 0, "the engine kept memory");
    require(sqlite3_memory_used() <= fixture().databaseMemory, "a database object was kept");
    require(openFiles() <= filesBefore_, "a file was kept open");
}

void rate(const WideText &body, const WideText &number)
{
    std::uint32_t rating = 99;
    requireResult(VELQ_CheckSpamMsgSync(&rating, body.c_str(), number.c_str()), {VELQ_SUCCESS},
                  "VELQ_CheckSpamMsgSync");
    require(rating <= VELQ_RATING_UNSURE, "a rating outside the documented ones");
    require(get_token_count() <= mostCountedTokens, "more than 29 tokens");
}

void giveFeedback(const WideText &body, const WideText &number)
{
    requireResult(VELQ_SetMsgAsSpam(body.c_str()), {VELQ_SUCCESS, VELQ_ERR_FAILED}, "VELQ_SetMsgAsSpam");
    requireResult(VELQ_SetMsgAsHam(body.c_str(), number.c_str()), {VELQ_SUCCESS, VELQ_ERR_FAILED}, "VELQ_SetMsgAsHam");
    require(get_token_count() <= mostCountedTokens, "more than 29 tokens");
}

static void readRecords(UIDListNode *uids)
{
    constexpr int most = 8;
    int read = 0;
    for (const UIDListNode *node = uids; node != nullptr && read < most; node = node->next, ++read) {
        NumberRecord white{};
        NumberRecord black{};
        requireResult(VELQ_ReadWhiteNumberByUID(&white, node->uid), {VELQ_SUCCESS, VELQ_ERR_FAILED}, "a read by uid");
        requireResult(VELQ_ReadBlackNumberByUID(&black, node->uid), {VELQ_SUCCESS, VELQ_ERR_FAILED}, "a read by uid");
        require((white.number == nullptr) == (white.name == nullptr), "half a record");
        require((black.number == nullptr) == (black.name == nullptr), "half a record");
        VELQ_FreeWhiteNumber(&white);
        VELQ_FreeBlackNumber(&black);
    }
}

static void requireCompleteNodes(const NumberListNode *list)
{
    for (const NumberListNode *node = list; node != nullptr; node = node->next) {
        require(node->number != nullptr && node->name != nullptr, "a node without texts");
    }
}

void readLists(std::int32_t hidden)
{
    NumberListNode *white = nullptr;
    NumberListNode *black = nullptr;
    UIDListNode *whiteUids = nullptr;
    UIDListNode *blackUids = nullptr;
    std::int32_t count = 0;
    const auto expect = [](std::int32_t result) {
        requireResult(result, {VELQ_SUCCESS, VELQ_ERR_FAILED}, "a list export");
    };
    expect(VELQ_GetWhiteNumberList(&white, hidden));
    expect(VELQ_GetBlackNumberList(&black, hidden));
    requireCompleteNodes(white);
    requireCompleteNodes(black);
    expect(VELQ_GetWhiteNumberUIDList(&whiteUids, hidden));
    expect(VELQ_GetBlackNumberUIDList(&blackUids, hidden));
    expect(VELQ_GetTotalCountOfWhiteNumber(&count));
    require(count >= 0, "a count below zero");
    expect(VELQ_GetTotalCountOfBlackNumber(&count));
    require(count >= 0, "a count below zero");
    readRecords(whiteUids);
    readRecords(blackUids);
    VELQ_FreeWhiteNumberList(white);
    VELQ_FreeBlackNumberList(black);
    VELQ_FreeWhiteNumberUIDList(whiteUids);
    VELQ_FreeBlackNumberUIDList(blackUids);
}

void readVersions()
{
    for (const std::int32_t command : {0, 1, 2, 3}) {
        VersionRecord record{command, -1};
        requireResult(VELQ_GetCurVersion(&record), {VELQ_SUCCESS, VELQ_ERR_FAILED}, "VELQ_GetCurVersion");
    }
}

static NumberRecord recordOf(const Entry &entry)
{
    return {const_cast<VELQ_WideChar *>(entry.number.c_str()), const_cast<VELQ_WideChar *>(entry.name.c_str())};
}

static bool fits(const Entry &entry)
{
    return entry.number.size() <= VELQ_MAX_NUMBER_LENGTH && entry.name.size() <= VELQ_MAX_NAME_LENGTH;
}

void addSingle(NumberList list, const Entry &entry, std::int32_t hidden, std::int32_t extendID)
{
    const NumberRecord record = recordOf(entry);
    const bool isWhite = list == NumberList::white;
    const std::int32_t result = isWhite ? VELQ_AddWhiteNumberSync(&record, hidden, extendID)
                                        : VELQ_AddBlackNumberSync(&record, hidden, extendID);
    const bool isAccepted = fits(entry) && (hidden == 0 || hidden == 1);
    requireResult(result, {isAccepted ? VELQ_SUCCESS : VELQ_ERR_FAILED}, "a single add");
    const std::string key = keyOf(entry.number);
    if (result == 0 && !key.empty()) { // an empty number matches nothing, itself included
        require(isListed(list, key), "an added number is not on its list");
        require(!isListed(isWhite ? NumberList::black : NumberList::white, key), "a number is on both lists");
    }
}

void removeSingle(NumberList list, const WideText &number)
{
    const Entry entry{number, {}};
    const NumberRecord record = recordOf(entry);
    const std::int32_t result =
        list == NumberList::white ? VELQ_RemoveWhiteNumberSync(&record) : VELQ_RemoveBlackNumberSync(&record);
    requireResult(result, {fits(entry) ? VELQ_SUCCESS : VELQ_ERR_FAILED}, "a removal");
    const std::string key = keyOf(number);
    require(result != 0 || !isListed(list, key), "a removed number is still listed");
}

void requireSoundStores()
{
    for (const char *name : dataFileNames) {
        require(installation().open(name).integrityCheck() == "ok", "a data file is damaged");
    }
    for (const test::Row &row : installation().open("prob.bin").query("SELECT value FROM velqTable;")) {
        const test::TokenCounts counts = test::tokenCountsOf(row.at(0).bytes);
        require(static_cast<std::int32_t>(counts.spam) >= 0 && static_cast<std::int32_t>(counts.ham) >= 0,
                "a count below zero");
    }
}

} // namespace velq::fuzz
