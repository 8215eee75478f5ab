// The steps as words for programs and for people.
#include "kit/reading/deciding_step.h"

#include "kit/reading/message_reading.h"
#include "kit/reading/text_filter.h"

#include <array>
#include <cstddef>

namespace velq::kit {

std::string_view stepName(DecidingStep step)
{
    static constexpr std::array<std::string_view, 8> names = {"black-list", "operator",   "white-list", "length",
                                                              "few-tokens", "classifier", "digit-run",  "short-text"};
    return names.at(static_cast<std::size_t>(step));
}

std::string_view stepSentence(DecidingStep step)
{
    static_assert(longestUnread == 6 && fewestTokens == 3 && spamCutoff == 0.9 && hamCutoff == 0.45 &&
                      digitRunLength == 7 && longestBrief == 20,
                  "the sentences name these numbers");
    switch (step) {
    case DecidingStep::blackList:
        return "black list: the sender matches an entry";
    case DecidingStep::operatorRule:
        return "operator rule: the number begins with 10086";
    case DecidingStep::whiteList:
        return "white list: the sender matches an entry";
    case DecidingStep::length:
        return "length: the filtered text has at most 6 characters";
    case DecidingStep::fewTokens:
        return "too few tokens: the classifier needs 3";
    case DecidingStep::classifier:
        return "classifier: spam from 0.9 on, ham up to 0.45";
    case DecidingStep::digitRun:
        return "digit run: the classifier was unsure, and 7 or more digits stand together";
    case DecidingStep::shortText:
        return "short text: the classifier was unsure, and the filtered text has at most 20 characters";
    }
    return {};
}

} // namespace velq::kit
