// Verdicts through the engine, with the counts before and after.
#include "kit/store/marking.h"

#include "kit/base/status.h"
#include "velq.h"

namespace velq::kit {

Marking::Marking(const Engine &engine, const Installation &installation, Rating verdict, WideText number)
    : engine_(engine), store_(installation.dataFile("prob.bin")), verdict_(verdict), number_(std::move(number))
{
    correction_.verdict = ratingName(verdict);
}

std::uint32_t Marking::countedMessages(const MessageCounts &counts) const
{
    const TokenWords &messages = counts.at(std::string(messageCountKey()));
    return verdict_ == Rating::ham ? messages.ham : messages.spam;
}

void Marking::mark(const WideText &body)
{
    const MessageCounts before = countsOf(store_, body);
    const std::int32_t code =
        verdict_ == Rating::ham ? VELQ_SetMsgAsHam(body.c_str(), number_.c_str()) : VELQ_SetMsgAsSpam(body.c_str());
    const MessageCounts after = countsOf(store_, body);
    correction_.add(before, after);
    const std::string what = "marking message " + std::to_string(correction_.messages + 1) + " failed";
    engine_.check(code, what);
    if (countedMessages(after) <= countedMessages(before)) {
        throw Error(Status::inputOutput,
                    what + ": the store did not take it" +
                        (before == after ? "" : " (it was taken off the other side only; see --undo)") +
                        "; check the space left; " + engine_.reason());
    }
    ++correction_.messages;
}

std::string keepCorrection(const CorrectionRecord &record, const Correction &correction)
{
    if (correction.changes.empty()) {
        return {};
    }
    try {
        record.write(correction);
        return {};
    } catch (const Error &error) {
        return error.what();
    }
}

void takeBackLast(const CorrectionRecord &record, const Correction &correction, const std::filesystem::path &store)
{
    record.remove(); // before the counts: a run that is ended in between must not be repeated
    try {
        takeBack(correction, store);
    } catch (...) {
        keepCorrection(record, correction);
        throw;
    }
}

} // namespace velq::kit
