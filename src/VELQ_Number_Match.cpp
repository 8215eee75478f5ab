// The matching rule and the question to the index, which rests on it: keys that match begin alike, so that in the order
// of their bytes nothing stands between them.
#include "VELQ_Number_Match.h"

#include <cstring>

KeyMatch matchKeys(const char *first, const char *second) noexcept
{
    std::size_t equal = 0;
    while (equal < matchedLength && first[equal] == second[equal] && first[equal] != '\0') {
        ++equal;
    }
    if (equal == matchedLength) {
        return KeyMatch::equal;
    }
    if (first[equal] != second[equal]) {
        return KeyMatch::different;
    }
    return equal > 0 ? KeyMatch::equal : KeyMatch::bothEmpty;
}

namespace {

// A text above everything that matches a key; only the bound itself, or nothing at all, lies between.
struct KeyBound {
    char text[matchedLength + 1];
    std::size_t length; // 0 where there is no such text
};

} // namespace

static KeyBound boundAbove(const char *key) noexcept
{
    KeyBound bound{};
    while (bound.length < matchedLength && key[bound.length] != '\0') {
        bound.text[bound.length] = key[bound.length];
        ++bound.length;
    }
    if (bound.length < matchedLength) {
        // A short key matches itself alone, with whatever may follow behind a zero byte.
        bound.text[bound.length++] = '\x01';
        return bound;
    }
    const auto last = static_cast<unsigned char>(bound.text[matchedLength - 1]);
    constexpr unsigned char greatest = 0xFF;
    bound.text[matchedLength - 1] = static_cast<char>(last + 1);
    return last < greatest ? bound : KeyBound{};
}

// The number in the row to which the statement was stepped; null without a row.
static IndexAnswer stepToNumber(VELQ_DSH_Statement *statement, const char **number) noexcept
{
    *number = nullptr;
    const int code = VELQ_DSH_doNext(statement);
    if (code != VELQ_DSH_ROW) {
        return code == VELQ_DSH_DONE ? IndexAnswer::notListed : IndexAnswer::failed;
    }
    if (VELQ_DSH_getInt(statement, 1) == 0) {
        return IndexAnswer::unusable;
    }
    *number = reinterpret_cast<const char *>(VELQ_DSH_getText(statement, 0));
    return *number != nullptr ? IndexAnswer::notListed : IndexAnswer::failed;
}

// The terminator keeps the bound from being taken for a numeral, whatever the column's type, and lets in the bound
// itself, as an entry without a terminator.
static IndexAnswer askForText(VELQ_DSH_Statement *statement, const char *key, const KeyBound &bound) noexcept
{
    const char *number = nullptr;
    if (VELQ_DSH_mapText(statement, 1, bound.text, static_cast<int>(bound.length) + 1, nullptr) != VELQ_DSH_OK) {
        return IndexAnswer::unusable;
    }
    const IndexAnswer answer = stepToNumber(statement, &number);
    if (number == nullptr) {
        return answer;
    }
    if (matchKeys(key, number) == KeyMatch::equal) {
        return IndexAnswer::listed;
    }
    return std::strcmp(number, bound.text) == 0 ? IndexAnswer::unusable : IndexAnswer::notListed;
}

// Blobs stand above all texts, so that there is a row unless the list has nothing but greater blobs. Without one the
// encoding remains unknown.
static IndexAnswer askForBlob(VELQ_DSH_Statement *statement, const char *key, const KeyBound &bound) noexcept
{
    const char *number = nullptr;
    if (VELQ_DSH_mapBlob(statement, 1, bound.text, static_cast<int>(bound.length), nullptr) != VELQ_DSH_OK) {
        return IndexAnswer::unusable;
    }
    const IndexAnswer answer = stepToNumber(statement, &number);
    if (number == nullptr) {
        return answer == IndexAnswer::notListed ? IndexAnswer::unusable : answer;
    }
    return matchKeys(key, number) == KeyMatch::equal ? IndexAnswer::listed : IndexAnswer::notListed;
}

// Numbers of a numeric class stand below all texts.
static IndexAnswer askForNumeric(VELQ_DSH_Statement *statement) noexcept
{
    const char *number = nullptr;
    if (VELQ_DSH_mapText(statement, 1, "", 0, nullptr) != VELQ_DSH_OK) {
        return IndexAnswer::unusable;
    }
    const IndexAnswer answer = stepToNumber(statement, &number);
    return number != nullptr ? IndexAnswer::unusable : answer;
}

static IndexAnswer askForEachClass(VELQ_DSH_Statement *statement, const char *key, const KeyBound &bound) noexcept
{
    IndexAnswer answer = askForText(statement, key, bound);
    if (answer == IndexAnswer::notListed) {
        VELQ_DSH_Reset(statement);
        answer = askForBlob(statement, key, bound);
    }
    if (answer == IndexAnswer::notListed) {
        VELQ_DSH_Reset(statement);
        answer = askForNumeric(statement);
    }
    return answer;
}

IndexAnswer askNumberIndex(VELQ_DSH_Connection *connection, const char *sql, const char *key) noexcept
{
    const KeyBound bound = boundAbove(key);
    VELQ_DSH_Statement *statement = nullptr;
    if (bound.length == 0 || prepareSql(connection, sql, &statement) != VELQ_DSH_OK) {
        return IndexAnswer::unusable;
    }
    const IndexAnswer answer = askForEachClass(statement, key, bound);
    VELQ_DSH_Keep(statement);
    return answer;
}
