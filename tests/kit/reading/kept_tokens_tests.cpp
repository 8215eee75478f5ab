// Tokens in memory are those of the file, whoever has written it.
#include "kit/engine/engine.h"
#include "kit/reading/kept_tokens.h"
#include "kit/reading/message_rating.h"
#include "support/installation.h"

#include <cmath>
#include <functional>
#include <gtest/gtest.h>
#include <random>
#include <string>
#include <vector>

namespace velq::kit {
namespace {

using test::Value;

constexpr std::u16string_view tokenUnits = u"abcdefgh";

// "aa", "ab", ...: more than are in the store.
std::vector<std::u16string> possibleTokens()
{
    std::vector<std::u16string> all;
    for (const char16_t first : tokenUnits) {
        for (const char16_t second : tokenUnits) {
            all.push_back({first, second});
        }
    }
    return all;
}

class kept_tokens : public ::testing::TestWithParam<test::Journal> {
  protected:
    kept_tokens()
    {
        std::vector<test::TokenRow> rows;
        for (const std::u16string &token : possibleTokens()) {
            if (token[0] != u'h') {
                rows.push_back({wideFromUtf16(token), {token[0], token[1], 0}});
            }
        }
        installation_.addTokens(rows);
        installation_.setMessageCounts(500, 500);
        installation_.setJournal(GetParam());
    }

    std::filesystem::path file() const
    {
        return installation_.dataFile("prob.bin");
    }

    // Reads all possibleTokens; each has to be what a look-up finds.
    std::vector<ReadToken> readAll(KeptTokens &tokens) const
    {
        StoredTokens plain(file());
        std::vector<ReadToken> found;
        const StoreTotals totals = tokens.totals();
        EXPECT_EQ(totals.spamMessages, plain.totals().spamMessages);
        EXPECT_EQ(totals.hamMessages, plain.totals().hamMessages);
        for (const std::u16string &token : possibleTokens()) {
            const std::optional<TokenStats> counts = tokens.find(packToken(token));
            EXPECT_EQ(counts, plain.find(packToken(token))) << utf8FromUtf16(token);
            if (counts && found.size() < mostTokens) {
                found.push_back({.token = packToken(token), .counts = *counts});
            }
        }
        tokens.end();
        return found;
    }

    void readUntilKept(KeptTokens &tokens) const
    {
        for (int i = 0; i < 1000 && !tokens.isFromMemory(); ++i) {
            readAll(tokens);
        }
        ASSERT_TRUE(tokens.isFromMemory());
    }

    // In one transaction, as the engine does it.
    void train(const std::vector<ReadToken> &read) const
    {
        test::Database store = installation_.open("prob.bin");
        store.exec("BEGIN;");
        for (const ReadToken &token : read) {
            store.query("UPDATE velqTable SET value = ? WHERE key = ?;",
                        {Value::ofBlob(test::tokenValueBytes({token.counts.spam + 1, token.counts.ham, 0})),
                         Value::ofBlob(bytesOfUnits(token.text()))});
        }
        const test::TokenCounts counts = *installation_.messageCounts();
        store.query(
            "INSERT OR REPLACE INTO velqTable VALUES(?, ?);",
            {Value::ofBlob(messageCountKey()), Value::ofBlob(test::tokenValueBytes({counts.spam + 1, counts.ham, 0}))});
        store.exec("COMMIT;");
    }

    void addRow(const std::u16string &token) const
    {
        installation_.open("prob.bin")
            .query("INSERT OR REPLACE INTO velqTable VALUES(?, ?);",
                   {Value::ofBlob(bytesOfUnits(token)), Value::ofBlob(test::tokenValueBytes({9, 9, 0}))});
    }

    test::Installation installation_;
};

} // namespace

TEST_P(kept_tokens, stay_in_memory_while_only_the_announced_is_learned)
{
    KeptTokens tokens(file());
    readUntilKept(tokens);
    for (int i = 0; i < 5; ++i) {
        const std::vector<ReadToken> read = readAll(tokens);
        EXPECT_TRUE(tokens.isFromMemory());
        tokens.willBeTrained(read);
        train(read);
    }
    readAll(tokens);
    EXPECT_TRUE(tokens.isFromMemory());
    tokens.willBeTrained(readAll(tokens)); // and the engine cannot write
    readAll(tokens);
    EXPECT_TRUE(tokens.isFromMemory());
}

TEST_P(kept_tokens, follow_whatever_else_is_written)
{
    std::vector<ReadToken> read;
    const std::vector<std::function<void(KeptTokens &)>> events = {
        [&](KeptTokens &) { train(read); },   // by another program
        [&](KeptTokens &) { addRow(u"ha"); }, // an update
        [&](KeptTokens &) { installation_.open("prob.bin").exec("DELETE FROM velqTable WHERE value > x'66';"); },
        [&](KeptTokens &) { installation_.setMessageCounts(3, 4); },
        [&](KeptTokens &) { installation_.open("prob.bin").exec("VACUUM;"); },
        [&](KeptTokens &tokens) { // instead of the training
            tokens.willBeTrained(read);
            addRow(u"hb");
        },
        [&](KeptTokens &tokens) {
            tokens.willBeTrained(read);
            train({read.begin(), read.begin() + 1});
        },
        [&](KeptTokens &tokens) {
            tokens.willBeTrained(read);
            train(read);
            addRow(u"hc");
        },
        [&](KeptTokens &tokens) {
            tokens.willBeTrained(read);
            train(read);
            train(read);
        },
    };
    for (const auto &happens : events) {
        KeptTokens tokens(file());
        readUntilKept(tokens);
        read = readAll(tokens);
        happens(tokens);
        readAll(tokens);
        readAll(tokens);
    }
}

TEST_P(kept_tokens, where_others_write_nothing_is_taken_for_the_announced)
{
    KeptTokens tokens(file());
    readUntilKept(tokens);
    train(readAll(tokens));
    readAll(tokens);
    readUntilKept(tokens);
    const std::vector<ReadToken> read = readAll(tokens);
    tokens.willBeTrained({read.begin(), read.begin() + 1}); // and another program has these and more
    train(read);
    readAll(tokens);
}

TEST_P(kept_tokens, store_with_a_trigger_is_looked_at_each_time)
{
    installation_.open("prob.bin")
        .exec("CREATE TRIGGER more AFTER UPDATE ON velqTable WHEN NEW.key = x'61006100' BEGIN "
              "UPDATE velqTable SET value = x'05' WHERE key = x'62006200'; END;");
    KeptTokens tokens(file());
    for (int i = 0; i < 50; ++i) {
        const std::vector<ReadToken> read = readAll(tokens);
        EXPECT_FALSE(tokens.isFromMemory());
        tokens.willBeTrained({read.begin(), read.begin() + 1});
        train({read.begin(), read.begin() + 1});
    }
}

TEST_P(kept_tokens, locked_file_is_in_use_and_read_again_later)
{
    KeptTokens tokens(file());
    readUntilKept(tokens);
    if (GetParam() == test::Journal::rollback) {
        test::Database other = installation_.open("prob.bin");
        other.exec("BEGIN EXCLUSIVE;");
        EXPECT_THROW(tokens.totals(), InUse);
        tokens.end();
    }
    readUntilKept(tokens);
}

TEST_P(kept_tokens, reasons_of_an_engine_that_learns_are_those_of_a_new_look)
{
    const Installation installation(installation_.programFolder().parent_path().parent_path());
    const Engine engine(installation, Engine::Connections::kept);
    Explainer explainer(installation);
    std::mt19937 random(7);
    int spam = 0;
    for (int i = 0; i < 150; ++i) {
        WideText body;
        for (std::size_t length = random() % 120; length > 0; --length) {
            body += static_cast<VELQ_WideChar>(tokenUnits[random() % tokenUnits.size()]);
        }
        body += random() % 3 == 0 ? VELQ_TEXT("12345678") : VELQ_TEXT("");
        const Explanation plain = Explainer(installation).explain(body, {}, Depth::decision);
        Reason reason;
        const Rated rated = rateWithReason(engine, explainer, body, {}, reason);
        EXPECT_EQ(ratingName(rated.rating), ratingName(plain.rating));
        EXPECT_EQ(reason.name, stepName(plain.step));
        EXPECT_EQ(reason.spamicity.is_number(), plain.score && std::isfinite(plain.score->spamicity));
        if (reason.spamicity.is_number()) {
            EXPECT_EQ(reason.spamicity.get<double>(), plain.score->spamicity);
        }
        spam += rated.rating == Rating::spam ? 1 : 0;
    }
    EXPECT_GT(spam, 10) << "of which it learns";
}

INSTANTIATE_TEST_SUITE_P(journals, kept_tokens, ::testing::Values(test::Journal::rollback, test::Journal::writeAhead),
                         ::testing::PrintToStringParamName());

} // namespace velq::kit
