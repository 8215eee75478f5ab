// Log lines that the tests of several modules expect, and how lists of them are put together.
#ifndef VELQ_TEST_INTERNAL_LOG_LINES_H
#define VELQ_TEST_INTERNAL_LOG_LINES_H

#include "internal/front_fixture.h"

#include <string>
#include <vector>

namespace velq::test {

using Texts = std::vector<std::string>;
using Lines = std::vector<ExpectedLine>;

inline ExpectedLine error(const std::string &text)
{
    return {true, text};
}

inline ExpectedLine debug(const std::string &text)
{
    return {false, text};
}

inline Lines operator+(Lines lines, const Lines &more)
{
    lines.insert(lines.end(), more.begin(), more.end());
    return lines;
}

// What opening and closing the token list writes.
inline const std::string openDb = "VELQ_BFilter_DataStore\tOpen DB!";
inline const std::string opened = "VELQ_BFilter_WordList\tOK: open_wordlist()";
inline const std::string closeDb = "VELQ_BFilter_DataStore\tClose DB!";
inline const std::string closed = "VELQ_BFilter_WordList\tOK: close_wordlist()";

// The transactions of the number lists and of the updates.
inline const std::string beginText = "BEGIN IMMEDIATE TRANSACTION;";
inline const std::string commitText = "COMMIT TRANSACTION;";
inline const std::string rollbackText = "ROLLBACK TRANSACTION;";

} // namespace velq::test

#endif
