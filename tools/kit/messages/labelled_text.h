// A labelled message as a store is learned from it, and ways to hand on many of them.
#ifndef VELQ_KIT_MESSAGES_LABELLED_TEXT_H
#define VELQ_KIT_MESSAGES_LABELLED_TEXT_H

#include <cstdint>
#include <functional>
#include <string>

namespace velq::kit {

struct LabelledText {
    bool spam = false;
    std::u16string text;      // as the engine would get it, not filtered
    std::uint32_t source = 0; // where it comes from; messages of one source resemble each other
};

using MessageTaker = std::function<void(const LabelledText &message)>;
// Hands every message to `take`, each time in the same order.
using MessageSource = std::function<void(const MessageTaker &take)>;

} // namespace velq::kit

#endif
