// How the commands that look into stores and update files show what they found.
#ifndef VELQ_KIT_CLI_PROBLEMS_H
#define VELQ_KIT_CLI_PROBLEMS_H

#include "kit/store/store_check.h"

#include <nlohmann/json.hpp>
#include <ostream>
#include <vector>

namespace velq::kit {

// An array of objects with the members where and what.
nlohmann::ordered_json problemsJson(const std::vector<StoreProblem> &problems);

// A line for each problem: where, a tab, what.
void printProblems(std::ostream &out, const std::vector<StoreProblem> &problems);

} // namespace velq::kit

#endif
