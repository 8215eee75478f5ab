// Which sequences may become tokens, and segmentation by some of them.
#include "kit/learning/candidates.h"
#include "learning/invented_messages.h"

#include <cstdint>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace velq::kit {
namespace {

TEST(token_candidates, prices_may_be_tokens_and_pieces_of_numbers_not)
{
    CandidateCounter counter;
    countCandidates(counter, filteredCorpus(corpusWithNumbers()));
    const Candidates candidates = takeCandidates(counter, 3);
    EXPECT_TRUE(candidates.positions.contains(packToken(u"2000")));
    EXPECT_FALSE(candidates.positions.contains(packToken(u"0771")));
    EXPECT_FALSE(candidates.positions.contains(packToken(u"5678")));
    EXPECT_TRUE(candidates.positions.contains(packToken(u"r0")));
}

TEST(token_candidates, full_table_forgets_the_rarest)
{
    CandidateCounter counter;
    counter.tableLimit = 400;
    SeededSequence sequence(5);
    for (std::uint32_t i = 0; i < 200; ++i) {
        countCandidates(counter, {true, u"always" + noise(20, u'\u4E00', 5000, sequence), 1, 0, i});
        EXPECT_LE(counter.table.size(), 400U);
    }
    EXPECT_GT(counter.forgotten, 0U);
    EXPECT_EQ(counter.table.at(packToken(u"alwa")).spam, 200U);
}

TEST(token_candidates, indexed_segmentation_equals_that_of_the_store)
{
    const std::vector<FilteredText> corpus = filteredCorpus(narrowCorpus(200, 1));
    CandidateCounter counter;
    countCandidates(counter, corpus);
    const Candidates candidates = takeCandidates(counter, 5);
    SeededSequence sequence(9);
    std::vector<std::uint8_t> listed(candidates.tokens.size(), 0);
    Store store;
    for (std::size_t i = 0; i < listed.size(); ++i) {
        if (sequence.below(4U) == 0) {
            listed[i] = 1;
            store.tokens[unpackToken(candidates.tokens[i])] = {1, 1};
        }
    }
    const StoreIndex index = indexStore(store);
    std::vector<std::uint32_t> positions;
    for (const FilteredText &message : corpus) {
        segmentIndexed(indexText(candidates, message), listed, positions);
        std::vector<PackedToken> tokens;
        for (const std::uint32_t position : positions) {
            tokens.push_back(candidates.tokens[position]);
        }
        EXPECT_EQ(tokens, segmentText(index, message.text));
    }
}

TEST(token_candidates, sequence_counts_once_in_a_message_and_unread_messages_not_at_all)
{
    CandidateCounter counter;
    countCandidates(counter,
                    {{true, u"free free free", 1, 0, 0}, {false, u"free of it", 1, 0, 1}, {false, u"free", 1, 0, 2}});
    EXPECT_EQ(counter.table.at(packToken(u"free")).spam, 1U);
    EXPECT_EQ(counter.table.at(packToken(u"free")).ham, 1U);
    EXPECT_EQ(counter.table.at(packToken(u"free")).clusters, 2U);
}

TEST(token_candidates, near_duplicates_count_once_wherever_they_stand)
{
    CandidateCounter counter;
    countCandidates(counter, {{true, u"free gift", 1, 0, 7},
                              {true, u"free lunch", 1, 0, 3},
                              {true, u"free gifts", 1, 0, 7},
                              {false, u"free gift?", 1, 0, 7}});
    const CandidateCounts &counts = counter.table.at(packToken(u"free"));
    EXPECT_EQ(counts.spam, 2U);
    EXPECT_EQ(counts.ham, 1U);
    EXPECT_EQ(counts.clusters, 2U);
    EXPECT_EQ(takeCandidates(counter, 2).positions.count(packToken(u"free")), 1U);
    EXPECT_EQ(takeCandidates(counter, 2).positions.count(packToken(u"gift")), 0U) << "one campaign alone";
}

TEST(token_candidates, codes_of_one_campaign_are_no_tokens)
{
    CandidateCounter counter;
    countCandidates(counter, std::vector<FilteredText>(30, {true, u"your code is 4711 now", 1, 0, 5}));
    EXPECT_FALSE(takeCandidates(counter, 1).positions.contains(packToken(u"4711")));
}

TEST(token_candidates, every_candidate_of_a_text_is_found_wherever_it_stands)
{
    CandidateCounter counter;
    countCandidates(counter, {true, u"abcdefgh"});
    const Candidates candidates = takeCandidates(counter, 1);
    const std::vector<std::uint32_t> found = candidatesIn(indexText(candidates, {true, u"xxbcdyyefxbc"}));
    std::vector<std::u16string> tokens;
    for (const std::uint32_t position : found) {
        tokens.push_back(unpackToken(candidates.tokens[position]));
    }
    std::sort(tokens.begin(), tokens.end());
    EXPECT_EQ(tokens, (std::vector<std::u16string>{u"bc", u"bcd", u"cd", u"ef"}));
}

} // namespace
} // namespace velq::kit
