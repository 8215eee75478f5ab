// Entries that no sender is found by.
#include "kit/reading/list_check.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace velq::kit {
namespace {

std::vector<ListEntry> entriesOf(const std::vector<std::string> &numbers)
{
    std::vector<ListEntry> entries;
    for (const std::string &number : numbers) {
        entries.push_back({.number = number, .name = {}, .uid = static_cast<std::int32_t>(entries.size()) + 1});
    }
    return entries;
}

// "list uid: why" of each.
std::vector<std::string> idle(const std::vector<std::string> &black, const std::vector<std::string> &white,
                              const NumberForm &form = {})
{
    std::vector<std::string> lines;
    for (const IdleEntry &entry : idleEntries(entriesOf(black), entriesOf(white), form)) {
        lines.push_back(entry.list + std::string(" ") + std::to_string(entry.uid) + ": " + entry.why);
    }
    return lines;
}

using Lines = std::vector<std::string>;

TEST(list_check, entries_that_can_match_are_not_told)
{
    EXPECT_EQ(idle({"10086", "+8613812345678", "MYBANK", "#21#", "60999"}, {"10010", "+447668835601", "MY BANK"}),
              Lines{});
    EXPECT_EQ(idle({}, {}), Lines{});
}

TEST(list_check, numbers_with_blanks_and_single_characters_never_match)
{
    EXPECT_EQ(idle({"+44 7668 835601"}, {"+"}),
              (Lines{"black 1: senders come without blanks and dashes; add +447668835601 instead",
                     "white 1: a single character, as updates bring them: no sender's number is that short; import the "
                     "numbers instead"}));
}

TEST(list_check, what_is_asked_first_hides_what_comes_behind)
{
    EXPECT_EQ(idle({"13812345678", "+8613812345678"}, {"8613812345678", "1008612345678"}),
              (Lines{"black 2: the same senders are found by 13812345678; remove one of them",
                     "white 1: the black list is asked first and has 13812345678; remove one of them",
                     "white 2: numbers that begin with 10086 are ham before the white list is asked; remove it"}));
}

#ifdef VELQ_WITH_COUNTRIES
TEST(list_check, entries_in_another_form_than_the_senders_never_match)
{
    EXPECT_EQ(idle({"07668835601", "+447668835602", "447668835603", "60999"}, {"7668835604"}, NumberForm("GB")),
              (Lines{"black 1: senders are compared as +447668835601; add that instead",
                     "white 1: senders are compared as +447668835604; add that instead"}));
}
#endif

} // namespace
} // namespace velq::kit
