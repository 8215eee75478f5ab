// Reading labelled messages: the three formats, what they refuse and where they say it is.
#include "kit/base/csv.h"
#include "kit/base/input.h"
#include "kit/base/status.h"
#include "kit/messages/corpus.h"
#include "support/run_command.h"
#include "support/system.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <sstream>

namespace velq::test {

namespace {

using kit::CorpusFormat;
using kit::Error;
using kit::Label;
using kit::LabelledMessage;
using kit::Status;

std::vector<LabelledMessage> readAll(const std::string &file, CorpusFormat format, std::istream &standardInput)
{
    std::vector<LabelledMessage> messages;
    kit::readCorpus(file, format, standardInput,
                    [&messages](LabelledMessage &&message) { messages.push_back(std::move(message)); });
    return messages;
}

std::vector<LabelledMessage> read(const std::string &text, CorpusFormat format)
{
    std::istringstream in(text);
    return readAll("-", format, in);
}

// The status and message of the failure; done when there is none.
std::pair<Status, std::string> failureOf(const std::string &file, const std::string &text, CorpusFormat format)
{
    std::istringstream in(text);
    try {
        kit::readCorpus(file, format, in, [](LabelledMessage &&) {});
    } catch (const Error &error) {
        return {error.status(), error.what()};
    }
    return {Status::done, {}};
}

void expectBadLine(const std::string &text, CorpusFormat format, int line, const std::string &part)
{
    const auto [status, message] = failureOf("-", text, format);
    EXPECT_EQ(status, Status::badData) << message;
    EXPECT_TRUE(message.starts_with("standard input:" + std::to_string(line) + ": ")) << message;
    EXPECT_NE(message.find(part), std::string::npos) << message;
}

} // namespace

TEST(corpus, label_tab_text_keeps_later_tabs_and_line_numbers)
{
    const auto messages = read("ham\tsee you\n\nspam\tWIN\tnow\r\nham\t你好😀", CorpusFormat::labelTabText);
    ASSERT_EQ(messages.size(), 3U);
    EXPECT_EQ(messages[0].label, Label::ham);
    EXPECT_EQ(messages[0].text, "see you");
    EXPECT_EQ(messages[1].label, Label::spam);
    EXPECT_EQ(messages[1].text, "WIN\tnow");
    EXPECT_EQ(messages[1].line, 3U);
    EXPECT_EQ(messages[2].text, "你好😀");
}

TEST(corpus, byte_order_mark_at_the_start_is_dropped)
{
    EXPECT_EQ(read("\xEF\xBB\xBFham\thello", CorpusFormat::labelTabText).at(0).text, "hello");
    EXPECT_EQ(read("\xEF\xBB\xBFlabel,text\nham,hello", CorpusFormat::csv).at(0).text, "hello");
}

TEST(corpus, label_tab_text_refuses_lines_without_tab_or_with_another_label)
{
    expectBadLine("ham\ta\nham b\n", CorpusFormat::labelTabText, 2, "no tab");
    expectBadLine("Junk\ta\n", CorpusFormat::labelTabText, 1, "the label \"Junk\" is neither ham nor spam");
    expectBadLine("\ttext\n", CorpusFormat::labelTabText, 1, "the label \"\" is neither ham nor spam");
    expectBadLine("hams\ta\n", CorpusFormat::labelTabText, 1, "\"hams\"");
}

TEST(corpus, long_label_is_shown_by_its_start)
{
    expectBadLine(std::string(39, 'a') + "\u00e4b\ttext\n", CorpusFormat::labelTabText, 1,
                  "\"" + std::string(39, 'a') + "...\"");
    expectBadLine("label,text\n\"a\nb\",text\n", CorpusFormat::csv, 2, "the label \"a b\"");
}

TEST(corpus, labels_stand_in_letters_of_any_case)
{
    for (const char *spam : {"spam", "Spam", "SPAM", "sPaM"}) {
        EXPECT_EQ(read(std::string(spam) + "\ttext\n", CorpusFormat::labelTabText).at(0).label, Label::spam) << spam;
    }
    EXPECT_EQ(read("label,text\nHAM,hello\n", CorpusFormat::csv).at(0).label, Label::ham);
    EXPECT_EQ(read(R"({"label":"Ham","text":"hello"})", CorpusFormat::jsonLines).at(0).label, Label::ham);
}

TEST(corpus, every_format_refuses_text_that_is_not_utf8_and_names_the_line)
{
    expectBadLine("ham\tgood\nham\tb\xE4"
                  "d\n",
                  CorpusFormat::labelTabText, 2, "not UTF-8 from byte 6");
    expectBadLine("label,text\nham,\"a\nb\xFF\"\n", CorpusFormat::csv, 3, "not UTF-8");
    expectBadLine("{\"label\":\"ham\",\"text\":\"\xC0\x80\"}\n", CorpusFormat::jsonLines, 1, "not UTF-8");
    expectBadLine("ham\t\xED\xA0\x80\n", CorpusFormat::labelTabText, 1, "not UTF-8");
}

TEST(corpus, zero_characters_are_refused)
{
    expectBadLine(std::string("ham\ta\0b\n", 8), CorpusFormat::labelTabText, 1, "zero character");
    expectBadLine(R"({"label":"ham","text":"a\u0000b"})", CorpusFormat::jsonLines, 1, "zero character");
}

TEST(corpus, csv_reads_quotes_line_ends_and_blanks_as_written)
{
    const auto messages =
        read("id,Text,LABEL\r\n1,\"say \"\"hi\"\", ok\",ham\r\n\r\n2,\"two\r\nlines\",spam\r\n3,  blanks  ,ham",
             CorpusFormat::csv);
    ASSERT_EQ(messages.size(), 3U);
    EXPECT_EQ(messages[0].text, "say \"hi\", ok");
    EXPECT_EQ(messages[0].line, 2U);
    EXPECT_EQ(messages[1].text, "two\r\nlines");
    EXPECT_EQ(messages[1].label, Label::spam);
    EXPECT_EQ(messages[1].line, 4U);
    EXPECT_EQ(messages[2].text, "  blanks  ");
    EXPECT_EQ(messages[2].line, 6U);
}

TEST(corpus, csv_refuses_missing_columns_and_broken_records)
{
    expectBadLine("label,message\nham,a\n", CorpusFormat::csv, 1, "columns label and text");
    expectBadLine("label,text\nham,a,b\n", CorpusFormat::csv, 2, "3 fields");
    expectBadLine("label,text\nham,a\nham,\"open\n", CorpusFormat::csv, 3, "never closed");
    expectBadLine("label,text\nham,\"a\"b\n", CorpusFormat::csv, 2, "broken quoting");
}

TEST(corpus, csv_record_that_never_ends_is_refused_before_it_fills_the_memory)
{
    std::string text = "label,text\nham,\"";
    for (int i = 0; i < 200; ++i) {
        text += std::string(10'000, 'x') + "\n";
    }
    expectBadLine(text, CorpusFormat::csv, 2, "longer than 1 MiB");
}

TEST(corpus, json_lines_pass_over_other_members)
{
    const auto messages = read(R"({"id":7,"label":"spam","text":"a \"b\" 😀","nested":{"label":1}})"
                               "\n\n"
                               R"({"text":"c","label":"ham"})",
                               CorpusFormat::jsonLines);
    ASSERT_EQ(messages.size(), 2U);
    EXPECT_EQ(messages[0].text, "a \"b\" 😀");
    EXPECT_EQ(messages[0].label, Label::spam);
    EXPECT_EQ(messages[1].line, 3U);
}

TEST(corpus, json_lines_refuse_what_is_no_labelled_object)
{
    expectBadLine("[1]\n", CorpusFormat::jsonLines, 1, "no JSON object");
    expectBadLine("{\"label\":\"ham\",\"text\":\"a\"\n", CorpusFormat::jsonLines, 1, "no JSON object");
    expectBadLine("{\"label\":\"ham\"}\n", CorpusFormat::jsonLines, 1, "\"label\" and \"text\"");
    expectBadLine("{\"label\":1,\"text\":\"a\"}\n", CorpusFormat::jsonLines, 1, "\"label\" and \"text\"");
    expectBadLine(R"({"label":"ham","text":"\ud800"})", CorpusFormat::jsonLines, 1, "no JSON object");
}

TEST(corpus, line_over_the_limit_is_refused_and_one_at_the_limit_taken)
{
    const std::string fits = "ham\t" + std::string(kit::longestMessageLine - 4, 'x');
    EXPECT_EQ(read(fits + "\r\n", CorpusFormat::labelTabText).at(0).text.size(), kit::longestMessageLine - 4);
    expectBadLine("ham\ta\n" + fits + "x\n", CorpusFormat::labelTabText, 2, "longer than 1 MiB");
}

TEST(corpus, format_follows_the_file_name)
{
    const TemporaryFolder folder;
    std::istringstream none;
    const std::vector<std::pair<std::string, std::string>> files = {{"a.tsv", "ham\thello"},
                                                                    {"a.TXT", "ham\thello"},
                                                                    {"a.csv", "label,text\nham,hello"},
                                                                    {"a.jsonl", R"({"label":"ham","text":"hello"})"},
                                                                    {"a.ndjson", R"({"label":"ham","text":"hello"})"}};
    for (const auto &[name, content] : files) {
        const auto file = folder.path() / name;
        writeFile(file, content);
        const auto messages = readAll(file.string(), CorpusFormat::byName, none);
        ASSERT_EQ(messages.size(), 1U) << name;
        EXPECT_EQ(messages[0].text, "hello") << name;
    }
    const std::string other = (folder.path() / "a.dat").string();
    EXPECT_EQ(failureOf(other, {}, CorpusFormat::byName).first, Status::noInput);
    writeFile(other, "ham\thello");
    EXPECT_EQ(failureOf(other, {}, CorpusFormat::byName).first, Status::usage);
}

TEST(corpus, missing_file_and_folder_are_no_input)
{
    const TemporaryFolder folder;
    const auto [status, message] = failureOf((folder.path() / "none.tsv").string(), {}, CorpusFormat::byName);
    EXPECT_EQ(status, Status::noInput);
    EXPECT_NE(message.find("none.tsv"), std::string::npos);
    EXPECT_EQ(failureOf(folder.path().string(), {}, CorpusFormat::csv).first, Status::noInput);
}

TEST(corpus, error_of_the_taker_ends_the_reading)
{
    std::istringstream in("ham\ta\nham\tb\n");
    int taken = 0;
    EXPECT_THROW(kit::readCorpus("-", CorpusFormat::labelTabText, in,
                                 [&](LabelledMessage &&) {
                                     ++taken;
                                     throw Error(Status::badData, "enough");
                                 }),
                 Error);
    EXPECT_EQ(taken, 1);
}

namespace {

// A stream of as many messages as wanted that holds none of them.
class EndlessCorpus : public std::streambuf {
  public:
    explicit EndlessCorpus(std::uint64_t lines) : left_(lines) {}

  protected:
    int_type underflow() override
    {
        if (left_ == 0) {
            return traits_type::eof();
        }
        line_ = "spam\tmessage number " + std::to_string(left_--) + " of many\n";
        setg(line_.data(), line_.data(), line_.data() + line_.size());
        return traits_type::to_int_type(line_.front());
    }

  private:
    std::uint64_t left_;
    std::string line_;
};

} // namespace

TEST(corpus, million_messages_take_no_more_memory_than_a_few)
{
    constexpr std::uint64_t million = 1'000'000;
    EndlessCorpus buffer(million);
    std::istream in(&buffer);
    const std::size_t before = heapBytesInUse();
    std::size_t most = before;
    std::uint64_t count = 0;
    kit::readCorpus("-", CorpusFormat::labelTabText, in, [&](LabelledMessage &&message) {
        ++count;
        ASSERT_EQ(message.label, Label::spam);
        ASSERT_EQ(message.line, count);
        most = count % 1000 == 0 ? std::max(most, heapBytesInUse()) : most;
    });
    EXPECT_EQ(count, million);
    constexpr std::size_t allowance = 64 * 1024;
    EXPECT_LT(most, before + allowance);
}

TEST(csv, fields_written_are_read_back_as_they_were)
{
    const std::vector<std::string> fields = {"plain",      "",           " blanks ", "a,b",
                                             "\"quoted\"", "two\nlines", "cr\r\nlf", "你好 😀"};
    std::string line;
    for (const std::string &field : fields) {
        line += (line.empty() ? "" : ",") + kit::csvField(field);
    }
    std::istringstream in(line + "\r\n");
    std::vector<kit::CsvRecord> records;
    kit::readCsv(in, "test", [&](kit::CsvRecord &&record) { records.push_back(std::move(record)); });
    ASSERT_EQ(records.size(), 1U);
    EXPECT_EQ(records[0].fields, fields);
}

} // namespace velq::test
