// Files that the commands write: whole or not at all where the name stands for a regular file, straight through where
// it stands for a device or a pipe.
#ifndef VELQ_KIT_BASE_OUTPUT_H
#define VELQ_KIT_BASE_OUTPUT_H

#include <filesystem>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace velq::kit {

// Lets `make` make a draft beside `path`, a file that does not exist yet, and puts it in the place of `path`; removes
// the draft when that fails. A symbolic link stays, and the file that it leads to is replaced; a file that exists keeps
// its permissions and its owner. Throws Error (cannotCreate): for a folder, for what is no regular file, for a folder
// that cannot be written; and what `make` throws.
void replaceFile(const std::filesystem::path &path, const std::function<void(const std::filesystem::path &)> &make);

// Writes a text in the same way, but into what is no regular file (a device, a pipe, /dev/stdout) straight through.
void writeTextFile(const std::filesystem::path &path, std::string_view text);

// Throws Error (usage) when `output` is a regular file that is also one of `inputs`, under whatever name; "-" there is
// standard input. To be called before anything is read. Empty names are passed over.
void checkNotAnInput(const std::string &output, const std::vector<std::string> &inputs);

} // namespace velq::kit

#endif
