// The requests that velq rate --json-lines reads: one JSON object a line.
#ifndef VELQ_KIT_CLI_RATE_REQUEST_H
#define VELQ_KIT_CLI_RATE_REQUEST_H

#include "kit/base/input.h"
#include "kit/base/wide_text.h"

#include <string>

namespace velq::kit {

// One line's request; a fault leaves what is wrong with it.
struct RateRequest {
    std::string id = "null"; // as JSON, in the digits that came in
    WideText body;
    WideText number;
    std::string fault;
};

// The members id, number and body of a line, whatever it holds; others are passed over.
RateRequest parseRateRequest(const std::string &line, LineResult result);

} // namespace velq::kit

#endif
