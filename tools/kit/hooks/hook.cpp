// Rating, moving and logging for the hooks of message hosts.
#include "kit/hooks/hook.h"

#include "kit/base/status.h"
#include "kit/base/utc_time.h"
#include "kit/engine/engine.h"
#include "kit/engine/installation.h"
#include "kit/engine/rating.h"
#include "velq.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace velq::kit {

namespace fs = std::filesystem;

// ---- The log

static bool endsInsideLine(const std::string &file)
{
    std::error_code ignored;
    if (!fs::is_regular_file(file, ignored)) {
        return false;
    }
    std::ifstream in(file, std::ios::binary | std::ios::ate);
    if (!in || in.tellg() <= 0) {
        return false;
    }
    in.seekg(-1, std::ios::end);
    return in.get() != '\n';
}

HookLog::HookLog(std::string_view host, const std::string &file, std::ostream &err)
    : host_(host), name_(file), err_(err)
{
    if (file.empty()) {
        return;
    }
    const bool broken = endsInsideLine(file); // a full disk has cut it
    file_.open(file, std::ios::app | std::ios::binary);
    if (broken) {
        file_ << '\n';
    }
    if (!file_) {
        throw Error(Status::cannotCreate, "cannot append to the log " + file + "; the message stays where it is");
    }
}

void HookLog::makeRoom() const
{
    constexpr off_t room = 4096;
    const int file = name_.empty() ? -1 : ::open(name_.c_str(), O_WRONLY | O_CLOEXEC | O_NONBLOCK);
    if (file < 0) {
        return;
    }
    struct stat status {};
    const bool plain = ::fstat(file, &status) == 0 && S_ISREG(status.st_mode);
    const bool reserved = !plain || ::fallocate(file, FALLOC_FL_KEEP_SIZE, status.st_size, room) == 0;
    const int reason = errno;
    ::close(file);
    if (!reserved && (reason == ENOSPC || reason == EDQUOT || reason == EFBIG)) {
        throw Error(Status::cannotCreate, "cannot append to the log " + name_ + ": " + std::strerror(reason) +
                                              "; the message stays where it is");
    }
}

void HookLog::line(const HookLine &fields)
{
    std::string text = timeInUtc() + '\t' + host_;
    for (const std::string *field : {&fields.rating, &fields.sender, &fields.files, &fields.action}) {
        text += '\t';
        text += oneLine(*field);
    }
    text += '\n';
    std::ostream &out = file_.is_open() ? file_ : err_;
    out << text << std::flush;
    if (!out) {
        throw Error(Status::cannotCreate, "cannot append to " +
                                              (name_.empty() ? "standard error" : "the log " + name_) +
                                              "; the message stays where it is");
    }
}

void HookLog::warn(const std::string &text)
{
    line({"warning", {}, {}, text});
    if (file_.is_open()) {
        err_ << "velq: " << oneLine(text) << std::endl;
    }
}

void HookLog::failure(const std::string &sender, const std::string &files, const std::string &text)
{
    if (!file_.is_open()) {
        return;
    }
    try {
        line({"failed", sender, files, text});
    } catch (const Error &) {
        // Standard error and the exit status tell of the failure; of this one, nothing can.
    }
}

// ---- Moving

// A second name for the file, or a copy where the folder lies on another file system.
static void place(const fs::path &file, const fs::path &target, std::error_code &code)
{
    fs::create_hard_link(file, target, code);
    if (!code || code == std::errc::file_exists) {
        return;
    }
    if (fs::exists(fs::symlink_status(target, code))) {
        code = std::make_error_code(std::errc::file_exists);
        return;
    }
    code.clear();
    fs::copy_file(file, target, fs::copy_options::none, code);
    if (code && code != std::errc::file_exists) {
        std::error_code ignored;
        fs::remove(target, ignored);
    }
}

fs::path placeAside(const fs::path &file, const fs::path &folder)
{
    constexpr int mostOfOneName = 10'000;
    for (int taken = 0; taken < mostOfOneName; ++taken) {
        fs::path target = folder / file.filename();
        if (taken > 0) {
            target += '.';
            target += std::to_string(taken);
        }
        std::error_code code;
        place(file, target, code);
        if (code == std::errc::file_exists) {
            continue;
        }
        if (code) {
            throw Error(Status::cannotCreate, "cannot move " + file.string() + " to " + target.string() + ": " +
                                                  code.message() + "; it stays where it is");
        }
        return target;
    }
    throw Error(Status::cannotCreate, "cannot move " + file.string() + ": " + folder.string() +
                                          " holds too many files of that name; empty the folder");
}

static void removePlaced(const fs::path &file, const fs::path &target)
{
    std::error_code code;
    if (!fs::remove(file, code)) {
        std::error_code ignored;
        fs::remove(target, ignored);
        throw Error(Status::inputOutput,
                    "cannot move " + file.string() + ": " + code.message() + "; it stays where it is");
    }
}

fs::path moveAside(const fs::path &file, const fs::path &folder)
{
    fs::path target = placeAside(file, folder);
    removePlaced(file, target);
    return target;
}

namespace {

// The files of one message on their way: they have a second name, and keep the first until `leave`. Without it the
// second names go away again.
class PlacedFiles {
  public:
    PlacedFiles(const std::vector<fs::path> &files, const fs::path &folder)
    {
        for (const fs::path &file : files) {
            try {
                placed_.emplace_back(file, placeAside(file, folder));
            } catch (...) {
                takeBack();
                throw;
            }
        }
    }
    ~PlacedFiles()
    {
        takeBack();
    }
    PlacedFiles(const PlacedFiles &) = delete;
    PlacedFiles &operator=(const PlacedFiles &) = delete;

    std::string targets() const
    {
        std::string names;
        for (const auto &[file, target] : placed_) {
            names += names.empty() ? "" : ", ";
            names += target.string();
        }
        return names;
    }

    void leave()
    {
        while (!placed_.empty()) {
            const auto [file, target] = placed_.front();
            placed_.erase(placed_.begin());
            removePlaced(file, target);
        }
    }

  private:
    void takeBack()
    {
        for (const auto &[file, target] : placed_) {
            std::error_code ignored;
            fs::remove(target, ignored);
        }
        placed_.clear();
    }

    std::vector<std::pair<fs::path, fs::path>> placed_;
};

} // namespace

// ---- The hook

WideText withoutZeros(WideText text)
{
    std::erase(text, VELQ_WideChar{0});
    return text;
}

static void prepareFolder(const std::string &folder, const HookMessage &message)
{
    if (folder.empty()) {
        return;
    }
    std::error_code code;
    fs::create_directory(folder, code);
    if (!fs::is_directory(folder, code)) {
        throw Error(Status::cannotCreate,
                    "cannot make the folder " + folder + "; make it and let the host's user write to it");
    }
    for (const fs::path &file : message.files) {
        if (fs::equivalent(folder, file.parent_path(), code)) {
            throw Error(Status::usage,
                        "the folder " + folder + " is the one that the messages arrive in; give another");
        }
    }
}

// Before the rating, which trains: what cannot be acted on shall not train.
static void check(const HookOptions &options, const HookMessage &message)
{
    for (const fs::path &file : message.files) {
        std::error_code ignored;
        if (!fs::is_regular_file(fs::symlink_status(file, ignored))) {
            throw Error(Status::noInput, "the message file " + file.string() + " is missing or no plain file");
        }
    }
    prepareFolder(options.spamFolder, message);
    prepareFolder(options.unsureFolder, message);
}

static Rating rate(const HookOptions &options, const HookMessage &message)
{
    const Installation installation(options.install);
    checkDataFiles(installation);
    const Engine engine(installation);
    const WideText number = withoutZeros(wideArgument(options.country.ofSender(message.sender), "the sender"));
    const WideText body = inForm(options.form, message.body);
    std::uint32_t answer = VELQ_RATING_UNSURE;
    engine.check(VELQ_CheckSpamMsgSync(&answer, body.c_str(), number.c_str()), "rating failed");
    return ratingOf(answer);
}

std::string fileNames(const std::vector<fs::path> &files)
{
    std::string names;
    for (const fs::path &file : files) {
        names += names.empty() ? "" : ", ";
        names += file.filename().string();
    }
    return names;
}

// Logs the message in between: what stands in no line is not moved.
static void fileAndLog(const HookOptions &options, HookLog &log, const HookMessage &message, Rating rating)
{
    const std::string &folder = rating == Rating::spam     ? options.spamFolder
                                : rating == Rating::unsure ? options.unsureFolder
                                                           : std::string();
    HookLine line{std::string(ratingName(rating)), message.sender, fileNames(message.files), "kept"};
    if (folder.empty() || message.files.empty()) {
        line.action += folder.empty() ? "" : ": the host named no file";
        log.line(line);
        return;
    }
    PlacedFiles placed(message.files, folder);
    line.action = "moved to " + placed.targets();
    log.line(line);
    placed.leave();
}

void runHook(const HookOptions &options, HookLog &log, const std::vector<fs::path> &given,
             const std::function<HookMessage()> &read)
{
    HookMessage message;
    message.files = given;
    try {
        message = read();
        check(options, message);
        log.makeRoom();
        fileAndLog(options, log, message, rate(options, message));
    } catch (const std::exception &error) {
        log.failure(message.sender, fileNames(message.files), error.what());
        throw;
    }
}

} // namespace velq::kit
