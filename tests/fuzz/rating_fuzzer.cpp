// Messages and senders through rating and feedback. Input: one byte of flags, a sender, a body, and so on with further
// messages to the end.
#include "fuzz_harness.h"

#include <array>
#include <cstdlib>

using namespace velq::fuzz;

namespace {

constexpr std::uint8_t norixFlag = 1;
constexpr std::uint8_t traceFlag = 2;

// One message moves each count by one for each training that it causes: one by rating, four by feedback.
void requireSmallMoves(const velq::test::Rows &before, const velq::test::Rows &after, int messages)
{
    constexpr int trainingsOfMessage = 5;
    require(before.size() == after.size(), "training changed the vocabulary");
    for (std::size_t i = 0; i < before.size(); ++i) {
        require(before[i][0] == after[i][0], "training changed a key");
        const auto was = velq::test::tokenCountsOf(before[i][1].bytes);
        const auto is = velq::test::tokenCountsOf(after[i][1].bytes);
        const auto moved = [](std::uint32_t from, std::uint32_t to) { return std::abs(static_cast<int>(to - from)); };
        require(moved(was.spam, is.spam) <= trainingsOfMessage * messages, "a spam count jumped");
        require(moved(was.ham, is.ham) <= trainingsOfMessage * messages, "a ham count jumped");
        require(was.reserved == is.reserved, "training changed a reserved word");
    }
}

velq::test::Rows tokens()
{
    return installation().open("prob.bin").query("SELECT key, value FROM velqTable ORDER BY key;");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    constexpr std::size_t longestBody = 2000;
    constexpr std::size_t longestNumber = 60;
    constexpr int mostMessages = 4;
    Input input(data, size);
    const std::uint8_t flags = input.byte();
    restoreInstallation();
    if ((flags & traceFlag) != 0) {
        installation().enableDebug();
    }
    const velq::test::Rows before = tokens();
    int messages = 0;
    {
        const Engine engine((flags & norixFlag) != 0 ? StartVariant::norix : StartVariant::plain);
        do {
            const WideText number = input.number(longestNumber);
            const WideText body = input.text(longestBody);
            rate(body, number);
            giveFeedback(body, number);
            ++messages;
        } while (!input.isAtEnd() && messages < mostMessages);
    }
    requireSmallMoves(before, tokens(), messages);
    requireSoundStores();
    return 0;
}
