// Outputs: where a name leads, drafts that take a file's place, and writing through.
#include "kit/base/output.h"

#include "kit/base/interruption.h"
#include "kit/base/status.h"

#include <cerrno>
#include <charconv>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <optional>
#include <sys/stat.h>
#include <unistd.h>

namespace velq::kit {

namespace fs = std::filesystem;

namespace {

// What an output's name stands for: a file that is or will be regular, or something that is written through, by its
// name or as a descriptor of this program.
struct Target {
    fs::path file;
    std::optional<int> descriptor; // /dev/stdout and its like
    bool throughName = false;      // a device, a pipe
};

class Descriptor {
  public:
    explicit Descriptor(int descriptor) : descriptor_(descriptor) {}
    ~Descriptor()
    {
        if (descriptor_ >= 0) {
            close(descriptor_);
        }
    }
    Descriptor(const Descriptor &) = delete;
    Descriptor &operator=(const Descriptor &) = delete;

    operator int() const // NOLINT(google-explicit-constructor): it is one
    {
        return descriptor_;
    }

  private:
    int descriptor_;
};

} // namespace

// The open descriptor that a link such as /proc/self/fd/1 stands for.
static std::optional<int> descriptorOf(const fs::path &link)
{
    std::error_code code;
    const fs::path own = fs::canonical("/proc/self/fd", code);
    if (code || fs::canonical(link.parent_path(), code) != own) {
        return std::nullopt;
    }
    const std::string name = link.filename().string();
    int descriptor = -1;
    const char *end = name.data() + name.size();
    if (std::from_chars(name.data(), end, descriptor) != std::from_chars_result{end, std::errc()}) {
        return std::nullopt;
    }
    return descriptor;
}

static Target targetOf(const fs::path &path)
{
    constexpr int mostLinks = 40;
    Target target{path, std::nullopt, false};
    std::error_code code;
    for (int links = 0; links < mostLinks && fs::is_symlink(target.file, code); ++links) {
        target.descriptor = descriptorOf(target.file);
        if (target.descriptor) {
            return target;
        }
        const fs::path link = fs::read_symlink(target.file, code);
        target.file = link.is_absolute() ? link : target.file.parent_path() / link;
    }
    const fs::file_status status = fs::status(path, code);
    if (fs::is_directory(status)) {
        throw Error(Status::cannotCreate,
                    "cannot create " + path.string() + ": it is a folder; give a file's name in it");
    }
    target.throughName = fs::exists(status) && !fs::is_regular_file(status);
    return target;
}

// Without the right to change the owner, which only root has, the file belongs to who wrote it.
static void keepOwnerAndPermissions(const fs::path &from, const fs::path &to)
{
    struct stat present {};
    if (::stat(from.c_str(), &present) == 0) {
        [[maybe_unused]] const int ignored = ::chown(to.c_str(), present.st_uid, present.st_gid);
        ::chmod(to.c_str(), present.st_mode & 07777U);
    }
}

static void replaceTarget(const fs::path &path, const fs::path &file, const std::function<void(const fs::path &)> &make)
{
    fs::path draft = file;
    draft += ".new-" + std::to_string(::getpid());
    fs::path journal = draft;
    journal += "-journal";
    std::error_code ignored;
    fs::remove(draft, ignored);
    const RemovedOnSignal draftOnSignal(draft);
    const RemovedOnSignal journalOnSignal(journal); // SQLite's, while a draft is laid out
    try {
        make(draft);
    } catch (...) {
        fs::remove(draft, ignored);
        throw;
    }
    keepOwnerAndPermissions(file, draft);
    std::error_code error;
    fs::rename(draft, file, error);
    if (error) {
        fs::remove(draft, ignored);
        throw Error(Status::cannotCreate,
                    "cannot create " + path.string() + ": " + error.message() + "; check its folder");
    }
}

void replaceFile(const fs::path &path, const std::function<void(const fs::path &)> &make)
{
    const Target target = targetOf(path);
    if (target.descriptor || target.throughName) {
        throw Error(Status::cannotCreate, "cannot write a database to " + path.string() +
                                              ": it is a device or a pipe; give the name of a file");
    }
    replaceTarget(path, target.file, make);
}

static void writeThrough(const fs::path &path, const Target &target, std::string_view text)
{
    const Descriptor out(target.descriptor ? ::fcntl(*target.descriptor, F_DUPFD_CLOEXEC, 0)
                                           : ::open(path.c_str(), O_WRONLY | O_CLOEXEC | O_NOCTTY));
    if (out < 0) {
        throw Error(Status::cannotCreate,
                    "cannot write to " + path.string() + ": " + std::strerror(errno) + "; give another output");
    }
    while (!text.empty()) {
        const ssize_t written = ::write(out, text.data(), text.size());
        if (written < 0 && errno == EINTR) {
            continue;
        }
        if (written < 0) {
            throw Error(Status::inputOutput, "writing " + path.string() + " failed: " + std::strerror(errno) +
                                                 "; check the device or the pipe");
        }
        text.remove_prefix(static_cast<std::size_t>(written));
    }
}

static void writeDraft(const fs::path &path, const fs::path &draft, std::string_view text)
{
    std::ofstream file(draft, std::ios::binary);
    if (!file) {
        throw Error(Status::cannotCreate,
                    "cannot create " + path.string() + "; check that its folder exists and can be written");
    }
    file.write(text.data(), static_cast<std::streamsize>(text.size()));
    file.close();
    if (!file) {
        throw Error(Status::inputOutput, "writing " + path.string() + " failed; check the space left");
    }
}

void writeTextFile(const fs::path &path, std::string_view text)
{
    const Target target = targetOf(path);
    if (target.descriptor || target.throughName) {
        writeThrough(path, target, text);
        return;
    }
    replaceTarget(path, target.file, [&](const fs::path &draft) { writeDraft(path, draft, text); });
}

void checkNotAnInput(const std::string &output, const std::vector<std::string> &inputs)
{
    struct stat out {};
    if (output.empty() || ::stat(output.c_str(), &out) != 0 || !S_ISREG(out.st_mode)) {
        return;
    }
    for (const std::string &input : inputs) {
        struct stat in {};
        const int code = input == "-" ? ::fstat(STDIN_FILENO, &in) : ::stat(input.c_str(), &in);
        if (code == 0 && in.st_dev == out.st_dev && in.st_ino == out.st_ino) {
            throw Error(Status::usage, "the output " + output + " is " +
                                           (input == "-"      ? std::string("standard input")
                                            : input == output ? std::string("an input")
                                                              : "the input " + input) +
                                           " as well; give another output");
        }
    }
}

} // namespace velq::kit
