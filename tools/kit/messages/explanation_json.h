// The explanation of a rating for programs.
#ifndef VELQ_KIT_MESSAGES_EXPLANATION_JSON_H
#define VELQ_KIT_MESSAGES_EXPLANATION_JSON_H

#include "kit/messages/text_form.h"
#include "kit/reading/explanation.h"

#include <nlohmann/json.hpp>
#include <string>

namespace velq::kit {

// A message as it was given, and as it goes to the engine.
struct ExplainedMessage {
    std::string text;
    WideText body;
    TextForm form = TextForm::prepared;
};

// All that an explanation knows; null where the classifier was not asked.
nlohmann::ordered_json explanationJson(const ExplainedMessage &message, const std::string &number,
                                       const Explanation &explanation);

} // namespace velq::kit

#endif
