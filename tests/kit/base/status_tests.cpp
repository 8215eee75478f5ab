// The exit statuses: their numbers, which scripts rely on, and the documents that list them.
#include "kit/base/status.h"
#include "support/run_command.h"

#include <gtest/gtest.h>
#include <set>
#include <sstream>

namespace velq::test {

namespace {

namespace fs = std::filesystem;

std::set<int> numbersOfStatuses()
{
    std::set<int> numbers;
    for (const kit::StatusMeaning &status : kit::statusMeanings) {
        numbers.insert(static_cast<int>(status.status));
    }
    return numbers;
}

// The numbers in the first column of the table of exit statuses; none where the document has no such table.
std::set<int> numbersOfTable(const std::string &document)
{
    std::set<int> numbers;
    std::istringstream lines(document);
    std::string line;
    while (std::getline(lines, line) && line != "| exit status | meaning |") {
    }
    std::getline(lines, line);
    while (std::getline(lines, line) && line.starts_with("| ")) {
        numbers.insert(std::stoi(line.substr(2)));
    }
    return numbers;
}

} // namespace

TEST(kit_status, has_the_numbers_of_the_interface)
{
    EXPECT_EQ(numbersOfStatuses(), (std::set<int>{0, 64, 65, 66, 70, 73, 74}));
    std::set<int> verdicts;
    for (const kit::VerdictStatus &verdict : kit::verdictStatuses) {
        verdicts.insert(verdict.number);
        EXPECT_TRUE(verdict.number == 0 || !numbersOfStatuses().contains(verdict.number)) << verdict.rating;
    }
    EXPECT_EQ(verdicts, (std::set<int>{0, 1, 2}));
}

TEST(kit_status, stands_in_every_table_of_the_documents)
{
    int tables = 0;
    for (const auto &entry : fs::directory_iterator(fs::path(VELQ_SOURCE_DIR) / "docs")) {
        if (const std::set<int> numbers = numbersOfTable(readFile(entry.path())); !numbers.empty()) {
            EXPECT_EQ(numbers, numbersOfStatuses()) << entry.path();
            ++tables;
        }
    }
    EXPECT_GE(tables, 1);
}

} // namespace velq::test
