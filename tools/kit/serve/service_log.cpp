// Lines with the time, in a file or on standard error.
#include "kit/serve/service_log.h"

#include "kit/base/status.h"
#include "kit/base/utc_time.h"
#include "kit/base/wide_text.h"

namespace velq::kit {

ServiceLog::ServiceLog(std::filesystem::path file, std::ostream &err) : name_(std::move(file)), err_(err)
{
    if (name_.empty()) {
        return;
    }
    file_.open(name_, std::ios::app | std::ios::binary);
    if (!file_) {
        throw Error(Status::cannotCreate,
                    "cannot write the log " + name_.string() + "; check its folder and its permissions");
    }
}

void ServiceLog::line(const std::string &text)
{
    const std::scoped_lock lock(mutex_);
    std::ostream &out = name_.empty() ? err_ : file_;
    out << timeInUtc() << '\t' << oneLine(text) << std::endl;
    out.clear(); // a full disk may have room again for the next line
}

void ServiceLog::reopen()
{
    if (name_.empty()) {
        return;
    }
    const std::scoped_lock lock(mutex_);
    std::ofstream next(name_, std::ios::app | std::ios::binary);
    if (next) {
        file_ = std::move(next);
    }
}

} // namespace velq::kit
