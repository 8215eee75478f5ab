// Verdicts through the engine, with the counts before and after.
#include "kit/store/marking.h"

#include "kit/base/plural.h"
#include "kit/base/status.h"
#include "kit/reading/explanation.h"
#include "velq.h"

namespace velq::kit {

Marking::Marking(const Engine &engine, const Installation &installation, Rating verdict, WideText number)
    : engine_(engine), installation_(installation), store_(installation.dataFile("prob.bin")), verdict_(verdict),
      number_(std::move(number))
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
    correct(body);
    ++correction_.messages;
}

void Marking::correct(const WideText &body)
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
}

// Whether the counts of the message's tokens have a say; marking ham also takes the sender off the black list.
bool Marking::countsDecide(DecidingStep step) const
{
    return step == DecidingStep::classifier || step == DecidingStep::digitRun || step == DecidingStep::shortText ||
           (step == DecidingStep::blackList && verdict_ == Rating::ham && !number_.empty());
}

Turning Marking::markUntilChanged(const WideText &body)
{
    constexpr std::uint64_t most = 1000;
    Explainer explainer(installation_);
    const auto read = [&] { return explainer.explain(body, number_, Depth::decision); };
    const MessageCounts before = countsOf(store_, body);
    const Correction others = correction_;
    Explanation now = read();
    Turning turning{.before = now.rating, .obstacle = {}};
    while (now.rating != verdict_ && countsDecide(now.step) && turning.corrections < most) {
        correct(body);
        ++turning.corrections;
        now = read();
    }
    turning.turned = now.rating == verdict_;
    if (turning.turned) {
        correction_.messages += turning.corrections > 0 ? 1 : 0;
        return turning;
    }
    turning.obstacle = countsDecide(now.step)
                           ? "it is still " + std::string(ratingName(now.rating)) + " after " +
                                 plural(turning.corrections, "correction")
                           : "no correction of its words changes what decides, " + std::string(stepSentence(now.step));
    Correction inVain;
    inVain.add(before, countsOf(store_, body));
    takeBack(inVain, installation_.dataFile("prob.bin"));
    correction_ = others;
    turning.corrections = 0;
    return turning;
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
