// The order of the engine's questions decides: black list, operator rule, white list, and in each the first match.
#include "kit/reading/list_check.h"

#include "kit/base/wide_text.h"
#include "kit/reading/number_match.h"

#include <map>

namespace velq::kit {

// By what senders are compared with; the first number of each.
using Known = std::map<std::string, std::string>;

static std::string keyOf(const std::string &number)
{
    return matchKey(wideFromUtf8(number).value_or(WideText()));
}

// Of one entry by itself.
static std::string faultOf(const std::string &number, const NumberForm &form)
{
    if (number.size() <= 1) {
        return "a single character, as updates bring them: no sender's number is that short; import the numbers "
               "instead";
    }
    const std::string plain = withoutPunctuation(number);
    if (plain != number) {
        return "senders come without blanks and dashes; add " + plain + " instead";
    }
    const std::string whole = form.of(number);
    if (keyOf(whole) != keyOf(number)) {
        return "senders are compared as " + whole + "; add that instead";
    }
    return {};
}

static void addIdle(std::vector<IdleEntry> &idle, const ListCalls &calls, const std::vector<ListEntry> &entries,
                    const NumberForm &form, const Known &before)
{
    const bool isWhite = &calls == &whiteListCalls;
    Known known;
    for (const ListEntry &entry : entries) {
        std::string why = faultOf(entry.number, form);
        const std::string key = keyOf(entry.number);
        if (const auto blocked = before.find(key); why.empty() && blocked != before.end()) {
            why = "the black list is asked first and has " + blocked->second + "; remove one of them";
        } else if (why.empty() && isWhite && entry.number.starts_with("10086")) {
            why = "numbers that begin with 10086 are ham before the white list is asked; remove it";
        } else if (const auto first = known.find(key); why.empty() && first != known.end()) {
            why = "the same senders are found by " + first->second + "; remove one of them";
        }
        known.try_emplace(key, entry.number);
        if (!why.empty()) {
            idle.push_back({calls.name, entry.uid, entry.number, std::move(why)});
        }
    }
}

std::vector<IdleEntry> idleEntries(const std::vector<ListEntry> &black, const std::vector<ListEntry> &white,
                                   const NumberForm &form)
{
    std::vector<IdleEntry> idle;
    addIdle(idle, blackListCalls, black, form, {});
    Known blocked;
    for (const ListEntry &entry : black) {
        blocked.try_emplace(keyOf(entry.number), entry.number);
    }
    addIdle(idle, whiteListCalls, white, form, blocked);
    return idle;
}

} // namespace velq::kit
