// A message that a filter is measured with.
#ifndef VELQ_KIT_EVALUATION_TEST_MESSAGE_H
#define VELQ_KIT_EVALUATION_TEST_MESSAGE_H

#include <cstdint>
#include <string>

namespace velq::kit {

struct TestMessage {
    bool spam = false;
    std::u16string text;      // as it goes to the engine
    std::uint32_t corpus = 0; // which file it comes from
    std::uint64_t line = 0;
    std::u16string original = {}; // as it was written
};

// The stratum that it is drawn from: each class of each file is one.
inline std::uint32_t stratumOf(const TestMessage &message)
{
    return 2 * message.corpus + (message.spam ? 1 : 0);
}

} // namespace velq::kit

#endif
