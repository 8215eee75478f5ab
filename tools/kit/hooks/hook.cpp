// Rating, moving and logging for the hooks of message hosts.
#include "kit/hooks/hook.h"

#include "kit/base/status.h"
#include "kit/engine/engine.h"
#include "kit/engine/installation.h"
#include "kit/engine/rating.h"
#include "velq.h"

#include <algorithm>
#include <chrono>
#include <cstdio>

namespace velq::kit {

namespace fs = std::filesystem;

// ---- The log

static std::string timeInUtc()
{
    using namespace std::chrono;
    const auto now = floor<seconds>(system_clock::now());
    const auto day = floor<days>(now);
    const year_month_day date(day);
    const hh_mm_ss time(now - day);
    char text[48];
    std::snprintf(text, sizeof text, "%04d-%02u-%02uT%02d:%02d:%02dZ", static_cast<int>(date.year()),
                  static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                  static_cast<int>(time.hours().count()), static_cast<int>(time.minutes().count()),
                  static_cast<int>(time.seconds().count()));
    return text;
}

HookLog::HookLog(std::string_view host, const std::string &file, std::ostream &err) : host_(host), err_(err)
{
    if (file.empty()) {
        return;
    }
    file_.open(file, std::ios::app | std::ios::binary);
    if (!file_) {
        throw Error(Status::cannotCreate, "cannot append to the log " + file + "; the message stays where it is");
    }
}

void HookLog::line(const std::vector<std::string> &fields)
{
    std::string text = timeInUtc() + '\t' + host_;
    for (const std::string &field : fields) {
        text += '\t';
        text += oneLine(field);
    }
    text += '\n';
    std::ostream &out = file_.is_open() ? file_ : err_;
    out << text << std::flush;
}

void HookLog::warn(const std::string &text)
{
    line({"warning", text});
    if (file_.is_open()) {
        err_ << "velq: " << oneLine(text) << std::endl;
    }
}

void HookLog::failure(const std::string &text)
{
    if (file_.is_open()) {
        line({"failed", text});
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

fs::path moveAside(const fs::path &file, const fs::path &folder)
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
        if (!fs::remove(file, code)) {
            std::error_code ignored;
            fs::remove(target, ignored);
            throw Error(Status::inputOutput,
                        "cannot move " + file.string() + ": " + code.message() + "; it stays where it is");
        }
        return target;
    }
    throw Error(Status::cannotCreate, "cannot move " + file.string() + ": " + folder.string() +
                                          " holds too many files of that name; empty the folder");
}

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
    const WideText number = withoutZeros(wideArgument(message.sender, "the sender"));
    const WideText body = inForm(options.form, message.body);
    std::uint32_t answer = VELQ_RATING_UNSURE;
    engine.check(VELQ_CheckSpamMsgSync(&answer, body.c_str(), number.c_str()), "rating failed");
    return ratingOf(answer);
}

static std::string act(const HookOptions &options, const HookMessage &message, Rating rating)
{
    const std::string &folder = rating == Rating::spam     ? options.spamFolder
                                : rating == Rating::unsure ? options.unsureFolder
                                                           : std::string();
    if (folder.empty()) {
        return "kept";
    }
    if (message.files.empty()) {
        return "kept: the host named no file";
    }
    std::string action;
    for (const fs::path &file : message.files) {
        action += action.empty() ? "moved to " : ", ";
        action += moveAside(file, folder).string();
    }
    return action;
}

static std::string namesOf(const HookMessage &message)
{
    std::string names;
    for (const fs::path &file : message.files) {
        names += names.empty() ? "" : ", ";
        names += file.filename().string();
    }
    return names;
}

void runHook(const HookOptions &options, HookLog &log, const std::function<HookMessage()> &read)
{
    try {
        const HookMessage message = read();
        check(options, message);
        const Rating rating = rate(options, message);
        const std::string action = act(options, message, rating);
        log.line({std::string(ratingName(rating)), message.sender, namesOf(message), action});
    } catch (const std::exception &error) {
        log.failure(error.what());
        throw;
    }
}

} // namespace velq::kit
