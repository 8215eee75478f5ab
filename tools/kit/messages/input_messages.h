// Messages that the operating commands are given: arguments, or one a line on standard input.
#ifndef VELQ_KIT_MESSAGES_INPUT_MESSAGES_H
#define VELQ_KIT_MESSAGES_INPUT_MESSAGES_H

#include "kit/base/wide_text.h"

#include <functional>
#include <istream>
#include <string>
#include <vector>

namespace velq::kit {

struct InputMessage {
    std::string label; // "ham" or "spam" where the line began with one and a tab
    std::string text;  // UTF-8
};

// Calls `take` for each of `arguments`, or, without any, for each line of `in` that is not empty. Throws Error (usage,
// badData) for text that is not UTF-8 or too long: of an argument before any is taken, of a line when those before it
// have been.
void forEachMessage(const std::vector<std::string> &arguments, std::istream &in,
                    const std::function<void(const InputMessage &)> &take);

} // namespace velq::kit

#endif
