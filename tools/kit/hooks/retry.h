// Messages that a hook could not rate, because something was missing, in use or full: they lie in the host's folder and
// have no rating in the hook's log.
#ifndef VELQ_KIT_HOOKS_RETRY_H
#define VELQ_KIT_HOOKS_RETRY_H

#include "kit/hooks/hook.h"

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace velq::kit {

// The plain files of the folder, in the order of their names, of which the last line of that host in the log is no
// rating. Throws Error (noInput) for a folder or a log that cannot be read.
std::vector<std::filesystem::path> unratedFiles(const std::filesystem::path &folder, const std::filesystem::path &log,
                                                std::string_view host);

// Files of Gammu's SMS daemon as messages: IN20240229_235959_00_+4512345678_01.txt is the second part of a message of
// that sender. Files of other names are passed over.
std::vector<std::vector<std::filesystem::path>> gammuMessages(const std::vector<std::filesystem::path> &files);

// The message in such files: the sender by the first one's name, the text as UTF-8, or UTF-16 behind a byte order mark.
// Throws Error (noInput, badData).
HookMessage readGammuFiles(const std::vector<std::filesystem::path> &files);

} // namespace velq::kit

#endif
