// The filter of velq rate --json-lines, from any bytes: each line is answered with one line, in their order, and a
// sound request with its id and a rating. The installation is the same for every input.
#include "kit/base/input.h"
#include "kit/cli/command_line.h"
#include "kit_target.h"
#include "support/installation.h"

#include <nlohmann/json.hpp>

using namespace velq::fuzz;
using nlohmann::json;
using velq::kit::LineReader;
using velq::kit::LineResult;
using velq::kit::longestMessageLine;
using velq::kit::runCommandLine;

namespace {

struct Line {
    std::string text;
    std::uint64_t number;
};

std::vector<Line> linesOf(std::string_view text)
{
    std::istringstream in{std::string(text)};
    LineReader reader(in, longestMessageLine);
    std::vector<Line> lines;
    for (std::string line; reader.next(line) != LineResult::end;) {
        lines.push_back({line, reader.number()});
    }
    return lines;
}

// Ratings train an installation, so that each input gets it anew. Returns its folder.
std::string freshInstallation()
{
    static const velq::test::Installation installation;
    static const std::filesystem::path first = installation.folder() / "first";
    const std::filesystem::path data = installation.dataFile("prob.bin").parent_path();
    if (!std::filesystem::exists(first)) {
        velq::test::Installation filled;
        filled.addTokens({{VELQ_TEXT("free"), {90, 2, 0}}, {VELQ_TEXT("lunc"), {1, 80, 0}}});
        filled.setMessageCounts(100, 100);
        filled.setPrior(600000);
        filled.addNumber(velq::test::NumberList::white, "13812345678");
        std::filesystem::copy(filled.dataFile("prob.bin").parent_path(), first);
    }
    std::filesystem::remove_all(data);
    std::filesystem::copy(first, data);
    for (const char *log : {"engine.log", "norix-engine.log"}) {
        std::filesystem::remove(installation.logFile(log));
    }
    return installation.folder().string();
}

std::vector<json> answersTo(std::string_view text)
{
    const std::string folder = freshInstallation();
    const char *const arguments[] = {"velq", "rate", "--json-lines", "--install", folder.c_str()};
    std::istringstream in{std::string(text)};
    std::ostringstream out;
    std::ostringstream err;
    require(runCommandLine(std::size(arguments), arguments, in, out, err) == 0, "a line ended the run");
    require(err.str().empty(), "a line led to a message on standard error");
    std::vector<json> answers;
    std::istringstream lines(out.str());
    for (std::string line; std::getline(lines, line);) {
        answers.push_back(json::parse(line)); // what it throws is a finding
    }
    return answers;
}

// A text for the engine, which no zero may end early.
bool isText(const json &object, const char *name)
{
    const auto member = object.find(name);
    return member != object.end() && member->is_string() &&
           member->get_ref<const std::string &>().find('\0') == std::string::npos;
}

// The rules of a request, on the whole document instead of its parts as they come.
bool isSound(const json &object)
{
    if (!object.is_object() || !isText(object, "body") || (object.contains("id") && object["id"].is_structured())) {
        return false;
    }
    return !object.contains("number") || object["number"].is_null() || isText(object, "number");
}

void checkAnswer(const Line &line, const json &answer)
{
    // The parser takes a zero for the end of its input.
    const bool hasZero = line.text.find('\0') != std::string::npos;
    const json request = hasZero ? json() : json::parse(line.text, nullptr, false);
    require(answer.is_object() && answer.contains("id"), "an answer without an id");
    require(answer.contains("rating") == isSound(request), "a sound request was refused, or another one rated");
    if (answer.contains("rating")) {
        const json &rating = answer["rating"];
        require(rating == "ham" || rating == "spam" || rating == "unsure", "a rating that is none");
    } else {
        require(answer["error"].is_string() && answer["line"] == line.number, "a refusal without error and line");
    }
    if (request.is_object() && request.contains("id") && !request["id"].is_structured()) {
        require(answer["id"] == request["id"], "an answer with another id");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const std::vector<Line> lines = linesOf(textOf(data, size));
    const std::vector<json> answers = answersTo(textOf(data, size));
    require(answers.size() == lines.size(), "not one answer for each line");
    for (std::size_t i = 0; i < lines.size(); ++i) {
        checkAnswer(lines[i], answers[i]);
    }
    return 0;
}
