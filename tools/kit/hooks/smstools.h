// The message files of SMS Server Tools 3: headers, an empty line and the body, in the character set that a header
// names.
#ifndef VELQ_KIT_HOOKS_SMSTOOLS_H
#define VELQ_KIT_HOOKS_SMSTOOLS_H

#include "kit/hooks/hook.h"

#include <filesystem>
#include <string_view>

namespace velq::kit {

// The message in a file's bytes. Sender: international numbers get the plus that the file leaves out. Body: UTF-8,
// ISO 8859-15 or UTF-16 with the high byte first; empty for binary messages. Throws Error (badData) for anything else.
HookMessage parseSmstoolsMessage(std::string_view bytes);

// The same for a file. Throws Error (noInput, inputOutput, badData), naming the file.
HookMessage readSmstoolsMessage(const std::filesystem::path &file);

} // namespace velq::kit

#endif
