// What the hooks of all message hosts share: rating a message that a host has stored in files, acting on the verdict,
// and one line in a log. Reading what a host hands over stands in a file for each host.
#ifndef VELQ_KIT_HOOKS_HOOK_H
#define VELQ_KIT_HOOKS_HOOK_H

#include "kit/base/phone_number.h"
#include "kit/base/wide_text.h"
#include "kit/messages/text_form.h"

#include <filesystem>
#include <fstream>
#include <functional>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

namespace velq::kit {

struct HookOptions {
    std::string install;
    std::string spamFolder;   // where spam goes; empty: it stays
    std::string unsureFolder; // the same for unsure messages
    std::string log;          // empty: standard error
    TextForm form = TextForm::prepared;
    NumberForm country;
};

struct HookMessage {
    std::string sender; // UTF-8
    WideText body;
    std::vector<std::filesystem::path> files; // what holds the message; none where the host keeps it elsewhere
};

// A line of the log behind time and host. Every line has all of them, whatever is empty.
struct HookLine {
    std::string rating; // spam, ham or unsure; "failed" or "warning" where there is none
    std::string sender;
    std::string files;  // names with ", " between them
    std::string action; // what was done, what failed, or what the warning is of
};

// The lines of one hook: six columns separated by tabs, time in UTC, host, and those above.
class HookLog {
  public:
    // Appends to `file`, or writes to `err` when the name is empty. Throws Error (cannotCreate).
    HookLog(std::string_view host, const std::string &file, std::ostream &err);

    // Reserves space for the lines of a message, where the file system can. Throws Error (cannotCreate) when there is
    // none left.
    void makeRoom() const;
    // One line, whatever the fields hold. Throws Error (cannotCreate) when it was not written.
    void line(const HookLine &fields);
    // A line to be seen also by those who look only at what the host makes of standard error.
    void warn(const std::string &text);
    // What ended the hook; not on standard error, where the command line says it. Never throws.
    void failure(const std::string &sender, const std::string &files, const std::string &text);

  private:
    std::string host_;
    std::string name_;
    std::ofstream file_;
    std::ostream &err_;
};

// Text for the engine, which takes a zero for its end: one inside a message is passed over.
WideText withoutZeros(WideText text);

// Gives `file` a second name in `folder`: its own, or, where that is taken, with ".1", ".2" and so on behind it; on
// another file system, a copy. Replaces nothing, also when two do it at once. Throws Error (cannotCreate).
std::filesystem::path placeAside(const std::filesystem::path &file, const std::filesystem::path &folder);

// The same, and removes the first name. Throws Error (cannotCreate, inputOutput); the file is where it was then.
std::filesystem::path moveAside(const std::filesystem::path &file, const std::filesystem::path &folder);

// The names of files as the log holds them.
std::string fileNames(const std::vector<std::filesystem::path> &files);

// Reads a message, rates it on the installation, moves its files as the options say and logs it: the files leave their
// folder when the line is written. `given` are the files as the host named them, for what goes wrong before the message
// is read. What `read` and the checks before the rating throw leaves the message where it is and the installation
// untouched; every failure is logged and thrown on.
void runHook(const HookOptions &options, HookLog &log, const std::vector<std::filesystem::path> &given,
             const std::function<HookMessage()> &read);

} // namespace velq::kit

#endif
