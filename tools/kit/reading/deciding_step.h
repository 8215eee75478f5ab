// The steps of a rating, in the order in which they are gone through.
#ifndef VELQ_KIT_READING_DECIDING_STEP_H
#define VELQ_KIT_READING_DECIDING_STEP_H

#include <cstdint>
#include <string_view>

namespace velq::kit {

enum class DecidingStep : std::uint8_t {
    blackList,
    operatorRule,
    whiteList,
    length,    // the filtered text is too short to read
    fewTokens, // too few tokens for the classifier
    classifier,
    digitRun, // the classifier was unsure, and a run of digits decided
    shortText // the classifier was unsure, and the text is short
};

// "black-list", "operator", "white-list", "length", "few-tokens", "classifier", "digit-run", "short-text".
std::string_view stepName(DecidingStep step);
// What decided, for people: "length: the filtered text has at most 6 characters".
std::string_view stepSentence(DecidingStep step);

} // namespace velq::kit

#endif
