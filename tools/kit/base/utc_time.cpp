// ISO 8601, in UTC whatever the time zone is.
#include "kit/base/utc_time.h"

#include <chrono>
#include <cstdio>

namespace velq::kit {

std::string utcTime(std::int64_t second)
{
    using namespace std::chrono;
    const sys_seconds now{seconds(second)};
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

std::string timeInUtc()
{
    using namespace std::chrono;
    return utcTime(floor<seconds>(system_clock::now()).time_since_epoch().count());
}

} // namespace velq::kit
