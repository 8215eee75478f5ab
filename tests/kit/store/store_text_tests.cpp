// The text form of token stores: what it looks like, that nothing is lost in it, and what is refused.
#include "base/refusal.h"
#include "kit/base/status.h"
#include "kit/store/row_text.h"
#include "kit/store/store_text.h"

#include <gtest/gtest.h>
#include <sstream>
#include <string>
#include <vector>

namespace velq::kit {
namespace {

StoreRow token(std::u16string_view text, const TokenWords &words)
{
    return {StoredValue::ofBlob(bytesOfUnits(text)), StoredValue::ofBlob(valueOf(words))};
}

StoredValue real(double value)
{
    return {StoredValue::Kind::real, 0, value, {}};
}

StoredValue textOf(const std::string &bytes)
{
    return {StoredValue::Kind::text, 0, 0, bytes};
}

StoreContents sorted(std::vector<StoreRow> rows)
{
    StoreContents contents{std::move(rows)};
    EXPECT_TRUE(sortRows(contents));
    return contents;
}

std::string dump(const StoreContents &contents)
{
    std::ostringstream out;
    writeStoreText(out, contents);
    return out.str();
}

StoreContents parse(const std::string &input)
{
    std::istringstream in(input);
    return readStoreText(in, "store.txt");
}

std::string parseError(const std::string &input)
{
    return refusalOf([&input] { parse(input); });
}

TEST(store_text, shows_counts_message_counts_and_prior)
{
    const StoreContents contents =
        sorted({token(u"free", {12, 3, 0}),
                token(u"\u514D\u8D39", {7, 0, 0}),
                token(u"ab", {0, 0, 9}),
                {StoredValue::ofBlob(messageCountKey()), StoredValue::ofBlob(valueOf({40, 60, 0}))},
                {StoredValue::ofBlob(priorKey()), StoredValue::ofBlob(valueOf({400000, 0, 0}))}});
    EXPECT_EQ(dump(contents), "velq-store 1\n"
                              "messages\t40\t60\n"
                              "prior\t400000\n"
                              "tokens\n"
                              "ab\t0\t0\t9\n"
                              "free\t12\t3\n"
                              "\u514D\u8D39\t7\t0\n"
                              "end\n");
}

TEST(store_text, store_without_special_records_has_no_lines_for_them)
{
    EXPECT_EQ(dump({}), "velq-store 1\ntokens\nend\n");
}

TEST(store_text, escapes_what_a_line_or_an_editor_would_not_keep)
{
    const std::pair<std::u16string, std::string> cases[] = {
        {u"a\tb", "a\\u0009b"},
        {u"a b", "a\\u0020b"},
        {u"\n\r", "\\u000a\\u000d"},
        {u"a\\", "a\\\\"},
        {u"#a", "\\u0023a"},
        {u"a#", "a#"},
        {u"!a", "\\u0021a"},
        {std::u16string(u"a\0", 2), "a\\u0000"},
        {u"\u00A0\u200B", "\\u00a0\\u200b"},
        {u"\u202Ex", "\\u202ex"},
        {u"\uFEFFx", "\\ufeffx"},
        {u"\u3000\u514D", "\\u3000\u514D"},
        {std::u16string(1, char16_t{0xD83D}) + u"x", "\\ud83dx"},
        {u"x" + std::u16string(1, char16_t{0xDE00}), "x\\ude00"},
        {u"\U0001F600", "\U0001F600"},
        {u"\uFFFF\uFFFD", "\\uffff\uFFFD"},
        {u"\u00E9\u4E2D", "\u00E9\u4E2D"},
    };
    for (const auto &[units, shown] : cases) {
        const StoreRow row = token(units, {1, 2, 0});
        EXPECT_EQ(keyText(row.key), shown);
        const StoreContents read = parse("velq-store 1\ntokens\n" + shown + "\t1\t2\nend\n");
        ASSERT_EQ(read.rows.size(), 1U) << shown;
        EXPECT_EQ(read.rows[0], row) << shown;
    }
}

TEST(store_text, keeps_every_row_whatever_its_form)
{
    const StoredValue key = StoredValue::ofBlob(std::string("a\0b\0", 4));
    const std::vector<StoreRow> rows[] = {
        {{StoredValue::ofBlob(""), StoredValue::ofBlob("")}},
        {{StoredValue::ofBlob("abc"), StoredValue::ofBlob(valueOf({1, 2, 3}))}},
        {{textOf("ab"), textOf("twelve bytes")}},
        {{StoredValue::ofInteger(-5), StoredValue::ofInteger(INT64_MIN)}},
        {{real(0.1), real(-1e300)}},
        {{StoredValue{}, StoredValue{}}},
        {{key, StoredValue::ofBlob("12345678")}, {textOf(key.bytes), StoredValue::ofBlob("1")}},
        {{key, StoredValue::ofBlob(std::string(13, '\xFF'))}},
        {{key, StoredValue::ofBlob(valueOf({0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF}))}},
        {{StoredValue::ofBlob(messageCountKey()), StoredValue::ofBlob("1234")}},
        {{StoredValue::ofBlob(messageCountKey()), StoredValue::ofBlob(valueOf({1, 2, 3}))}},
        {{StoredValue::ofBlob(priorKey()), StoredValue::ofBlob(valueOf({1, 0, 3}))}},
        {{StoredValue::ofBlob(priorKey()), textOf("")}},
    };
    for (const std::vector<StoreRow> &some : rows) {
        const StoreContents contents = sorted(some);
        const std::string shown = dump(contents);
        EXPECT_EQ(parse(shown).rows, contents.rows) << shown;
        EXPECT_EQ(dump(parse(shown)), shown);
    }
}

TEST(store_text, tokens_are_sorted_by_their_units_and_may_be_read_in_any_order)
{
    const std::string shuffled = "velq-store 1\ntokens\n\u514D\u8D39\t1\t0\nzz\t1\t0\nab\t1\t0\n\uFF21b\t1\t0\nend\n";
    const std::string ordered = "velq-store 1\ntokens\nab\t1\t0\nzz\t1\t0\n\u514D\u8D39\t1\t0\n\uFF21b\t1\t0\nend\n";
    EXPECT_EQ(dump(parse(shuffled)), ordered);
}

TEST(store_text, reads_over_remarks_and_carriage_returns)
{
    const StoreContents read = parse("# from x\nvelq-store 1\r\n# more\r\ntokens\r\nab\t1\t2\r\nend\r\n# done\n");
    EXPECT_EQ(dump(read), "velq-store 1\ntokens\nab\t1\t2\nend\n");
}

TEST(store_text, names_the_line_of_what_it_refuses)
{
    const std::string head = "velq-store 1\ntokens\n";
    const std::pair<std::string, std::string> cases[] = {
        {"", "store.txt is empty; expected a token store in text form"},
        {"velq-store 2\n", "store.txt:1: not a token store in text form: it must begin with \"velq-store 1\""},
        {"velq-store 1\n", "store.txt:1: the line \"tokens\" is missing"},
        {"velq-store 1\nwhat\t1\n",
         "store.txt:2: expected one line \"messages\", one line \"prior\" or the line \"tokens\""},
        {"velq-store 1\nprior\t1\nprior\t1\n",
         "store.txt:3: expected one line \"messages\", one line \"prior\" or the line \"tokens\""},
        {"velq-store 1\nmessages\t1\ntokens\nend\n", "store.txt:2: expected 2 to 3 counts separated by tabs"},
        {head + "ab\t1\t2\n", "store.txt:3: the line \"end\" is missing: the text is cut off"},
        {head + "ab\t1\nend\n", "store.txt:3: expected 2 to 3 counts separated by tabs"},
        {head + "ab\t1\t2\t3\t4\nend\n", "store.txt:3: expected 2 to 3 counts separated by tabs"},
        {head + "ab\t1\t-2\nend\n", "store.txt:3: \"-2\" is not a count between 0 and 4294967295"},
        {head + "ab\t1\t4294967296\nend\n", "store.txt:3: \"4294967296\" is not a count between 0 and 4294967295"},
        {head + "ab\t1\t 2\nend\n", "store.txt:3: \" 2\" is not a count between 0 and 4294967295"},
        {head + "\t1\t2\nend\n", "store.txt:3: the token is missing"},
        {head + "a\\b\t1\t2\nend\n",
         "store.txt:3: a backslash stands for itself as \\\\, for a unit as \\u and 4 hex digits"},
        {head + "a\\u12g4\t1\t2\nend\n",
         "store.txt:3: a backslash stands for itself as \\\\, for a unit as \\u and 4 hex digits"},
        {head + "!blob:2\t1\t2\nend\n",
         "store.txt:3: \"!blob:2\" is not a key; expected a storage class, for example !blob:2e52"},
        {head + "ab\tblob:xy\nend\n",
         "store.txt:3: \"blob:xy\" is not a value; expected counts, or a storage class as in blob:00ff"},
        {head + "ab\t1\t2\nab\t1\t3\nend\n", "store.txt:4: the token stands in line 3 already"},
        {head + "ab\t1\t2\n\\u0061b\t1\t3\nend\n", "store.txt:4: the token stands in line 3 already"},
        {head + ".MSG_CNT\t1\t2\nend\n",
         "store.txt:3: the message counts and the prior stand above the line \"tokens\""},
        {head + "end\nab\t1\t2\n", "store.txt:4: text after the line \"end\""},
        {head + "\xFF"
                "b\t1\t2\nend\n",
         "store.txt:3: the line is not UTF-8"},
    };
    for (const auto &[input, message] : cases) {
        EXPECT_EQ(parseError(input), message) << input;
    }
}

} // namespace
} // namespace velq::kit
