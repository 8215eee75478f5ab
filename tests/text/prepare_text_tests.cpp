// The call of the text preparation: sizes, ends, damaged texts, and that a prepared text stays.
#include "text/prepare.h"
#include "velq_text.h"

#include <cstdint>
#include <gtest/gtest.h>
#include <random>
#include <string>
#include <thread>
#include <vector>

namespace velq::test {
namespace {

constexpr VELQ_WideChar untouched = 0x2592;

// Code points of every kind that a rule looks at: small and capital look-alikes of all scripts, letters without one,
// digits, accents, invisible characters, forms of one and of several letters, others that end a word.
constexpr char32_t pieces[] = {
    U'a',   U'b',   U'e',   U'h',   U'n',  U'o',   U'v',   U'z',    U'B',    U'H',    U'Y',    U'7',   U' ',   U'!',
    0x430,  0x432,  0x435,  0x43D,  0x43E, 0x443,  0x436,  0x416,   0x412,   0x41D,   0x456,   0x44C,  0x475,  0x43F,
    0x3B1,  0x3B7,  0x397,  0x3BD,  0x39D, 0x3C5,  0x3A5,  0x3BC,   0x39C,   0x3B3,   0x393,   0x3C3,  0x3F2,  0x3F9,
    0x3C0,  0x3C6,  0x3BB,  0x585,  0x578, 0x57D,  0x561,  0x54F,   0x13AA,  0x13BB,  0x13F4,  0xAB70, 0xA4D0, 0xA4F3,
    0x2C9F, 0x2C9E, 0x301,  0x308,  0x345, 0x200B, 0xAD,   0xFE0F,  0xE0041, 0xE9,    0xDF,    0x130,  0x131,  0x1C6,
    0x149,  0xFB01, 0xFF21, 0x24D0, 0x660, 0xE51,  0x4F60, 0x1D5D4, 0x1D6A8, 0x1F600, 0x10400, 0x13F8, 0x2075, 0xFFFD};

WideText randomText(std::mt19937 &random, std::size_t most)
{
    WideText text;
    const std::size_t length = random() % most;
    while (text.size() < length) {
        text += units(pieces[random() % std::size(pieces)]);
    }
    return text;
}

TEST(PrepareText, TellsTheUnitsNeededWithTheZeroUnit)
{
    EXPECT_EQ(velq_prepare_text(VELQ_TEXT("Call"), nullptr, 0), 5U);
    EXPECT_EQ(velq_prepare_text(VELQ_TEXT("\u00E6"), nullptr, 0), 3U);
    EXPECT_EQ(velq_prepare_text(VELQ_TEXT("\u200B\u200B"), nullptr, 0), 1U);
    EXPECT_EQ(velq_prepare_text(VELQ_TEXT("\U0001F600"), nullptr, 0), 3U);
}

TEST(PrepareText, TakesNoTextAsAnEmptyOne)
{
    EXPECT_EQ(velq_prepare_text(nullptr, nullptr, 0), 1U);
    VELQ_WideChar out = untouched;
    EXPECT_EQ(velq_prepare_text(nullptr, &out, 1), 1U);
    EXPECT_EQ(out, 0);
    out = untouched;
    EXPECT_EQ(velq_prepare_text(VELQ_TEXT(""), &out, 1), 1U);
    EXPECT_EQ(out, 0);
}

TEST(PrepareText, WritesNothingWhereTheCapacityIsTooSmall)
{
    for (std::size_t capacity = 0; capacity < 5; ++capacity) {
        std::vector<VELQ_WideChar> out(capacity + 1, untouched);
        EXPECT_EQ(velq_prepare_text(VELQ_TEXT("CALL"), out.data(), capacity), 5U);
        EXPECT_EQ(out, std::vector<VELQ_WideChar>(capacity + 1, untouched)) << capacity;
    }
}

TEST(PrepareText, WritesNoMoreThanIsNeeded)
{
    std::vector<VELQ_WideChar> out(8, untouched);
    EXPECT_EQ(velq_prepare_text(VELQ_TEXT("CALL"), out.data(), 7), 5U);
    EXPECT_EQ(WideText(out.data()), VELQ_TEXT("call"));
    EXPECT_EQ(out[5], untouched);
    EXPECT_EQ(out[7], untouched);
}

TEST(PrepareText, GivesOnlyTheSizeWithoutABufferWhateverTheCapacity)
{
    EXPECT_EQ(velq_prepare_text(VELQ_TEXT("CALL"), nullptr, 100), 5U);
}

TEST(PrepareText, ReadsNothingBehindTheZeroUnit)
{
    const VELQ_WideChar text[] = {'A', 0, 'B', 0};
    EXPECT_EQ(velq_prepare_text(text, nullptr, 0), 2U);
    // On the heap and of its own length, so that the sanitizers see a unit too far.
    const std::vector<VELQ_WideChar> half{'A', 0xD83D, 0};
    EXPECT_EQ(velq_prepare_text(half.data(), nullptr, 0), 3U);
    const VELQ_WideChar followed[] = {'A', 0xD83D, 0, 0xDE00, 0};
    EXPECT_EQ(velq_prepare_text(followed, nullptr, 0), 3U);
}

TEST(PrepareText, PutsTheReplacementCharacterForHalfASurrogatePair)
{
    const WideText high(1, 0xD83D);
    const WideText low(1, 0xDE00);
    const WideText replaced(1, 0xFFFD);
    EXPECT_EQ(prepare(high), replaced);
    EXPECT_EQ(prepare(low), replaced);
    EXPECT_EQ(prepare(low + high), replaced + replaced);
    EXPECT_EQ(prepare(high + high + low), replaced + high + low);
    EXPECT_EQ(prepare(high + VELQ_TEXT("A")), replaced + VELQ_TEXT("a"));
    // What stood between the halves does not bring them together.
    EXPECT_EQ(prepare(high + VELQ_TEXT("\u200B") + low), replaced + replaced);
}

TEST(PrepareText, LeavesEveryPreparedCharacterAsItIs)
{
    for (char32_t codePoint = 1; codePoint < 0x110000; ++codePoint) {
        const WideText once = prepare(units(codePoint));
        ASSERT_EQ(prepare(once), once) << "U+" << std::hex << static_cast<unsigned>(codePoint);
        ASSERT_LE(once.size(), 18U);
    }
}

TEST(PrepareText, LeavesEveryCharacterPreparedInAWordAsItIs)
{
    for (const WideText &beside : {WideText(VELQ_TEXT("z")), units(0x436), units(0x3BB), units(0x10D0)}) {
        for (char32_t codePoint = 1; codePoint < 0x30000; ++codePoint) {
            const WideText once = prepare(beside + units(codePoint) + beside);
            ASSERT_EQ(prepare(once), once) << "U+" << std::hex << static_cast<unsigned>(codePoint);
        }
    }
}

TEST(PrepareText, LeavesPreparedTextsAsTheyAre)
{
    std::mt19937 random(20261122);
    for (int round = 0; round < 200'000; ++round) {
        const WideText text = randomText(random, 12);
        const WideText once = prepare(text);
        ASSERT_EQ(prepare(once), once) << utf8(text);
    }
}

TEST(PrepareText, FoldsAWordAsItFoldsItsCapitals)
{
    EXPECT_EQ(prepare(wide("B\u0410N\u041A")), wide("bank"));
    EXPECT_EQ(prepare(wide("b\u0430n\u043A")), wide("bank"));
    EXPECT_EQ(prepare(wide("B\u0421\u0415\u041C")), wide("\u0432\u0441\u0435\u043C"));
}

TEST(PrepareText, GivesAWordToTheScriptWithMoreLettersWhereSeveralFit)
{
    EXPECT_EQ(prepare(wide("\u0441op")), wide("cop"));
    EXPECT_EQ(prepare(wide("\u0441\u043Ep")), wide("\u0441\u043E\u0440"));
    EXPECT_EQ(prepare(wide("\u0441o")), wide("co")) << "Latin before the others";
}

TEST(PrepareText, TakesOneTripThroughALongWord)
{
    WideText text;
    for (int i = 0; i < 500'000; ++i) {
        text += wide("\u0430z");
    }
    EXPECT_EQ(prepare(text).substr(0, 4), VELQ_TEXT("azaz"));
}

TEST(PrepareText, WorksOnSeveralThreadsAtATime)
{
    const WideText text = wide("P\u0430yP\u0430l für über schön \u0397ELLO ＦＲＥＥ");
    const WideText expected = prepare(text);
    std::vector<int> good(4);
    std::vector<std::thread> threads;
    for (int &count : good) {
        threads.emplace_back([&text, &expected, &count] {
            for (int round = 0; round < 500; ++round) {
                count += prepare(text) == expected ? 1 : 0;
            }
        });
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
    EXPECT_EQ(good, std::vector<int>(4, 500));
}

} // namespace
} // namespace velq::test
