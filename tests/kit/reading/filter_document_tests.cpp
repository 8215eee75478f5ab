// The examples of docs/host-applications.md on what the engine's filter leaves: each row of its table is a test, by the
// kit's reading of a text and by `velq explain`, which holds its ratings against the engine's.
#include "kit/messages/text_form.h"
#include "kit/reading/text_filter.h"
#include "support/run_command.h"

#include <fstream>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <utf8.h>
#include <vector>

namespace velq::kit {
namespace {

struct Example {
    std::string text;
    std::string filtered;
    std::string preparedAndFiltered;
};

// The characters of a cell; those that are written as \u and four digits, too.
std::string unescaped(std::string_view cell)
{
    if (cell == "(nothing)") {
        return {};
    }
    std::string out;
    for (std::size_t escape = cell.find("\\u"); escape != std::string_view::npos; escape = cell.find("\\u")) {
        out += cell.substr(0, escape);
        utf8::append(static_cast<char32_t>(std::stoul(std::string(cell.substr(escape + 2, 4)), nullptr, 16)), out);
        cell.remove_prefix(escape + 6);
    }
    return out += cell;
}

// | what | `text` | `filtered` | `prepared and filtered` |
std::vector<Example> readExamples()
{
    std::vector<Example> examples;
    std::ifstream document(VELQ_SOURCE_DIR "/docs/host-applications.md", std::ios::binary);
    bool isBelowHeading = false;
    for (std::string line; std::getline(document, line);) {
        isBelowHeading = line.starts_with("#") ? line == "### What the filter leaves of a text" : isBelowHeading;
        std::vector<std::string> cells;
        for (std::size_t at = line.find(" | `"); isBelowHeading && at != std::string::npos;) {
            const std::size_t end = line.find("` |", at + 4);
            cells.push_back(unescaped(std::string_view(line).substr(at + 4, end - at - 4)));
            at = line.find(" | `", end);
        }
        if (cells.size() == 3) {
            examples.push_back({cells[0], cells[1], cells[2]});
        }
    }
    return examples;
}

class filter_document : public testing::Test, protected test::TestFiles {};

TEST_F(filter_document, filter_leaves_what_the_examples_say)
{
    const std::vector<Example> examples = readExamples();
    EXPECT_EQ(examples.size(), 12U);
    for (const Example &example : examples) {
        EXPECT_EQ(utf8FromUtf16(filterText(utf16InForm(TextForm::raw, example.text))), example.filtered);
        EXPECT_EQ(utf8FromUtf16(filterText(utf16InForm(TextForm::prepared, example.text))),
                  example.preparedAndFiltered);
    }
}

TEST_F(filter_document, explain_shows_what_the_examples_say)
{
    ASSERT_EQ(test::velq({"init", path("install"), "--quiet"}).status, 0);
    const std::vector<Example> examples = readExamples();
    for (const bool isRaw : {true, false}) {
        std::vector<std::string> arguments = {"explain", "--install", path("install"), "--json"};
        if (isRaw) {
            arguments.emplace_back("--raw");
        }
        for (const Example &example : examples) {
            arguments.push_back(example.text);
        }
        const test::CommandResult result = test::velq(arguments);
        ASSERT_EQ(result.status, 0) << result.err;
        const auto reports = nlohmann::json::parse(result.out);
        ASSERT_EQ(reports.size(), examples.size());
        for (std::size_t i = 0; i < examples.size(); ++i) {
            EXPECT_EQ(reports[i].at("filtered"), isRaw ? examples[i].filtered : examples[i].preparedAndFiltered);
        }
    }
}

TEST_F(filter_document, capitals_alone_are_rated_ham)
{
    ASSERT_EQ(test::velq({"init", path("install"), "--quiet"}).status, 0);
    const std::string text = readExamples().at(0).text;
    const test::CommandResult result = test::velq({"rate", "--install", path("install"), "--raw", text});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_TRUE(result.out.starts_with("ham\t")) << result.out;
}

} // namespace
} // namespace velq::kit
