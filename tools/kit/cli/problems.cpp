// Lists of problems as text and as JSON.
#include "kit/cli/problems.h"

#include "kit/base/wide_text.h"

namespace velq::kit {

nlohmann::ordered_json problemsJson(const std::vector<StoreProblem> &problems)
{
    nlohmann::ordered_json list = nlohmann::ordered_json::array();
    for (const StoreProblem &problem : problems) {
        list.push_back({{"where", problem.where}, {"what", problem.what}});
    }
    return list;
}

void printProblems(std::ostream &out, const std::vector<StoreProblem> &problems)
{
    for (const StoreProblem &problem : problems) {
        out << (problem.where.empty() ? "file" : problem.where) << '\t' << oneLine(problem.what) << '\n';
    }
}

} // namespace velq::kit
