// What the SMS daemon of Gammu hands to the program of its RunOnReceive: a message in environment variables, and the
// names of its files as arguments.
#ifndef VELQ_KIT_HOOKS_GAMMU_H
#define VELQ_KIT_HOOKS_GAMMU_H

#include "kit/hooks/hook.h"

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace velq::kit {

// The value of an environment variable, null when it is not set.
using Environment = std::function<const char *(const std::string &name)>;

// Joins the parts: the decoded ones where there are any, the received ones otherwise. `names` become files below
// `inbox`; with an empty `inbox` they are no files. Throws Error (badData) for a message that is not as the daemon
// makes one, noInput for a variable that is missing because no daemon started the hook.
HookMessage readGammuMessage(const Environment &environment, const std::string &inbox,
                             const std::vector<std::string> &names);

// What is wrong with the locale of this process, which is the daemon's and the one in which it hands over text; none
// when it is UTF-8.
std::optional<std::string> localeFault();

} // namespace velq::kit

#endif
