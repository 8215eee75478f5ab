// The examples of docs/text-preparation.md: each row of its table is a test.
#include "text/prepare.h"

#include <cctype>
#include <fstream>
#include <gtest/gtest.h>
#include <string>
#include <string_view>
#include <vector>

namespace velq::test {
namespace {

struct Example {
    std::string what;
    WideText text;
    WideText prepared;
};

// The characters of a cell; those that are written as an escape, too.
WideText unescaped(std::string_view cell)
{
    WideText out;
    while (!cell.empty()) {
        const std::size_t escape = cell.find('\\');
        out += wide(cell.substr(0, escape));
        if (escape == std::string_view::npos) {
            break;
        }
        const char kind = cell.at(escape + 1);
        cell.remove_prefix(escape + 2);
        if (kind == 't') {
            out += VELQ_WideChar{'\t'};
            continue;
        }
        const std::size_t digits = kind == 'U' ? 8 : 4;
        out += units(static_cast<char32_t>(std::stoul(std::string(cell.substr(0, digits)), nullptr, 16)));
        cell.remove_prefix(digits);
    }
    return out;
}

// | what | `text` | `prepared` |
std::vector<Example> readExamples()
{
    std::vector<Example> examples;
    std::ifstream document(VELQ_TEXT_DOCUMENT, std::ios::binary);
    for (std::string line; std::getline(document, line);) {
        const std::size_t text = line.find(" | `");
        const std::size_t prepared = line.find("` | `");
        const std::size_t end = line.rfind("` |");
        if (line.rfind("| ", 0) == 0 && text < prepared && prepared < end) {
            const std::string_view cells = line;
            examples.push_back({line.substr(2, text - 2), unescaped(cells.substr(text + 4, prepared - text - 4)),
                                unescaped(cells.substr(prepared + 5, end - prepared - 5))});
        }
    }
    return examples;
}

std::string testName(const testing::TestParamInfo<Example> &example)
{
    std::string name;
    bool isNewWord = true;
    for (const char c : example.param.what) {
        if (std::isalnum(static_cast<unsigned char>(c)) != 0) {
            name += isNewWord ? static_cast<char>(std::toupper(static_cast<unsigned char>(c))) : c;
        }
        isNewWord = c == ' ';
    }
    return name;
}

class DocumentedExample : public testing::TestWithParam<Example> {};

TEST_P(DocumentedExample, IsPreparedAsDocumented)
{
    EXPECT_EQ(utf8(prepare(GetParam().text)), utf8(GetParam().prepared));
}

TEST_P(DocumentedExample, StaysOncePrepared)
{
    EXPECT_EQ(utf8(prepare(GetParam().prepared)), utf8(GetParam().prepared));
}

INSTANTIATE_TEST_SUITE_P(TextPreparation, DocumentedExample, testing::ValuesIn(readExamples()), testName);

TEST(TextPreparationDocument, HasExamples)
{
    EXPECT_GE(readExamples().size(), 40U);
}

} // namespace
} // namespace velq::test
