// Small invented corpora, in an alphabet and in ideographs, whose classes differ in some of their words, and what tests
// of several ways to learn from them ask.
#ifndef VELQ_TESTS_KIT_LEARNING_INVENTED_MESSAGES_H
#define VELQ_TESTS_KIT_LEARNING_INVENTED_MESSAGES_H

#include "kit/learning/build_progress.h"
#include "kit/learning/candidates.h"
#include "kit/learning/training_set.h"
#include "kit/messages/labelled_text.h"
#include "kit/messages/sampling.h"
#include "kit/reading/text_model.h"

#include <algorithm>
#include <cstdint>
#include <gtest/gtest.h>
#include <string>
#include <utility>
#include <vector>

namespace velq::kit {

using Words = std::vector<std::u16string>;

inline const Words spamWords = {u"prize", u"claim", u"winner", u"voucher", u"ringtone", u"urgent", u"reply", u"award"};
inline const Words hamWords = {u"dinner", u"lunch", u"mother", u"coming", u"sleep", u"school", u"tonight", u"sorry"};
inline const Words commonWords = {u"please", u"there", u"about", u"today", u"would",
                                  u"could",  u"think", u"where", u"after"};
inline const Words wideSpam = {u"\u4F18\u60E0", u"\u4FC3\u9500", u"\u6298\u6263", u"\u8D37\u6B3E", u"\u5F00\u76D8"};
inline const Words wideHam = {u"\u665A\u4E0A", u"\u5403\u996D", u"\u56DE\u5BB6", u"\u5988\u5988", u"\u660E\u5929"};
inline const Words wideCommon = {u"\u6211\u4EEC", u"\u8FD9\u4E2A", u"\u6CA1\u6709", u"\u4E00\u4E9B", u"\u53EF\u4EE5"};

// So many units out of `range` from `first` on.
inline std::u16string noise(std::size_t length, char16_t first, std::size_t range, SeededSequence &sequence)
{
    std::u16string units;
    for (std::size_t i = 0; i < length; ++i) {
        units += static_cast<char16_t>(first + sequence.below(range));
    }
    return units;
}

// Four words of the message's class among four that any message may hold, and in front of them a name that makes it a
// message of its own: otherwise so few words would make each a near-duplicate of another.
inline std::u16string sentence(const Words &own, const Words &common, const std::u16string &blank,
                               SeededSequence &sequence)
{
    std::u16string text =
        (blank.empty() ? noise(24, u'\u6B00', 4000, sequence) : noise(40, u'a', 26, sequence)) + blank;
    for (int i = 0; i < 4; ++i) {
        text += own[sequence.below(own.size())] + blank + common[sequence.below(common.size())] + blank;
    }
    return text;
}

inline std::vector<LabelledText> narrowCorpus(std::size_t size, std::uint64_t seed)
{
    SeededSequence sequence(seed);
    std::vector<LabelledText> messages;
    for (std::size_t i = 0; i < size; ++i) {
        const bool spam = i % 3 == 0;
        messages.push_back({spam, sentence(spam ? spamWords : hamWords, commonWords, u" ", sequence)});
    }
    return messages;
}

inline std::vector<LabelledText> wideCorpus(std::size_t size, std::uint64_t seed)
{
    SeededSequence sequence(seed);
    std::vector<LabelledText> messages;
    for (std::size_t i = 0; i < size; ++i) {
        const bool spam = i % 2 == 0;
        messages.push_back({spam, sentence(spam ? wideSpam : wideHam, wideCommon, u"", sequence)});
    }
    return messages;
}

// Both, one behind the other.
inline std::vector<LabelledText> jointCorpus()
{
    std::vector<LabelledText> corpus = narrowCorpus(320, 1);
    const std::vector<LabelledText> wide = wideCorpus(240, 2);
    corpus.insert(corpus.end(), wide.begin(), wide.end());
    return corpus;
}

// As it is counted and segmented, each message a cluster of its own.
inline std::vector<FilteredText> filteredCorpus(const std::vector<LabelledText> &messages)
{
    std::vector<FilteredText> filtered;
    for (const LabelledText &message : messages) {
        const auto cluster = static_cast<std::uint32_t>(filtered.size());
        filtered.push_back({message.spam, filterText(message.text), 1, message.source, cluster});
    }
    return filtered;
}

// So many messages of one text, each a cluster of its own, counted from `cluster` on.
inline std::vector<FilteredText> repeated(std::size_t times, bool spam, const std::u16string &text,
                                          std::uint32_t cluster = 0)
{
    std::vector<FilteredText> messages;
    for (std::size_t i = 0; i < times; ++i) {
        messages.push_back({spam, text, 1, 0, cluster++});
    }
    return messages;
}

// Every spam message holds the same telephone number, and another one of its own; half of them a price.
inline std::vector<LabelledText> corpusWithNumbers()
{
    std::vector<LabelledText> corpus = narrowCorpus(320, 1);
    SeededSequence sequence(3);
    for (LabelledText &message : corpus) {
        if (message.spam) {
            message.text += u" call 07712345678 or 0";
            for (int i = 0; i < 10; ++i) {
                message.text += static_cast<char16_t>(u'0' + sequence.below(10U));
            }
            message.text += u" now for only";
            message.text += sequence.below(2U) == 0 ? u" 2000 pounds" : u" little money";
        }
    }
    return corpus;
}

// The share of messages that the store rates by their label.
inline double accuracy(const Store &store, const std::vector<LabelledText> &messages)
{
    const StoreIndex index = indexStore(store);
    const auto right = std::count_if(messages.begin(), messages.end(), [&index](const LabelledText &message) {
        return (rateFiltered(index, filterText(message.text)).rating == Rating::spam) == message.spam;
    });
    return static_cast<double>(right) / static_cast<double>(messages.size());
}

inline bool isDigitsOnly(const std::u16string &token)
{
    return std::all_of(token.begin(), token.end(), isDigitUnit);
}

// Tokens 0 and 1 stand in spam, 2 and 3 in ham, 4 in both.
inline std::vector<SegmentedText> segmentedTexts()
{
    std::vector<SegmentedText> texts;
    for (int i = 0; i < 40; ++i) {
        texts.push_back({true, false, false, {0, 1, 4}});
        texts.push_back({false, false, false, {2, 3, 4}});
    }
    return texts;
}

// One spam message, an empty one and one too short to be read.
inline std::vector<LabelledText> handful()
{
    return {{true, u"claim your prize today"}, {false, u""}, {false, u"hi"}};
}

inline TrainingSet trainingSetOf(const std::vector<LabelledText> &messages, std::uint64_t seed = 1,
                                 std::size_t sample = usualSample)
{
    TrainingSet training(seed, sample);
    for (const LabelledText &message : messages) {
        training.add(message.spam, message.text);
    }
    return training;
}

inline MessageSource sourceOf(std::vector<LabelledText> messages)
{
    return [messages = std::move(messages)](const MessageTaker &take) {
        std::for_each(messages.begin(), messages.end(), take);
    };
}

// Of a store built from corpusWithNumbers(): the price may be in it.
inline void expectNoPiecesOfNumbers(const Store &store)
{
    for (const auto &[token, counts] : store.tokens) {
        if (isDigitsOnly(token)) {
            EXPECT_NE(std::u16string(u"2000").find(token), std::u16string::npos)
                << std::string(token.begin(), token.end());
        }
    }
}

// Of a build that takes a progress function.
template <typename Build>
void expectProgress(const Build &build)
{
    std::vector<std::pair<std::uint64_t, std::uint64_t>> steps;
    build([&steps](std::uint64_t done, std::uint64_t total) { steps.emplace_back(done, total); });
    ASSERT_FALSE(steps.empty());
    EXPECT_TRUE(std::is_sorted(steps.begin(), steps.end()));
    EXPECT_EQ(steps.back().first, steps.back().second);
}

} // namespace velq::kit

#endif
