// The progress bar.
#include "kit/base/progress.h"

#include <gtest/gtest.h>
#include <sstream>

namespace velq::test {

TEST(progress, bar_is_drawn_and_taken_off_again)
{
    std::ostringstream err;
    {
        kit::Progress progress(err, "importing", 4, kit::ProgressWhen::always);
        progress.reached(2);
    }
    EXPECT_EQ(err.str(), "\r\x1B[Kimporting [###############...............] 50 %\r\x1B[K");
}

TEST(progress, nothing_is_drawn_when_quiet_or_before_the_first_second)
{
    std::ostringstream err;
    {
        kit::Progress quiet(err, "importing", 4, kit::ProgressWhen::never);
        kit::Progress early(err, "importing", 4, kit::ProgressWhen::onTerminal);
        quiet.reached(4);
        early.reached(4);
    }
    EXPECT_EQ(err.str(), "");
}

} // namespace velq::test
