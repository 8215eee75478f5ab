// Ratings by the engine, and the step that decided each.
#include "kit/reading/message_rating.h"

#include "velq.h"

#include <chrono>
#include <cmath>

namespace velq::kit {

RatedInstallation::RatedInstallation(const std::string &install, bool dryRun) : installation_(install)
{
    checkDataFiles(installation_);
    if (dryRun) {
        const Installation own = installation_;
        copy_.emplace();
        installation_ = Installation(copy_->path());
        copyInstallation(own, installation_);
        setTraining(installation_, false);
    }
}

Rated rate(const Engine &engine, const WideText &body, const WideText &number)
{
    using Clock = std::chrono::steady_clock;
    Rated rated;
    std::uint32_t answer = VELQ_RATING_UNSURE;
    const Clock::time_point start = Clock::now();
    const std::int32_t code = VELQ_CheckSpamMsgSync(&answer, body.c_str(), number.c_str());
    rated.microseconds = std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - start).count();
    engine.check(code, "rating failed");
    rated.rating = ratingOf(answer);
    return rated;
}

static Reason reasonOf(const Explanation &explanation)
{
    Reason reason;
    reason.name = stepName(explanation.step);
    if (explanation.score && std::isfinite(explanation.score->spamicity)) {
        reason.spamicity = explanation.score->spamicity;
    }
    return reason;
}

Rated rateWithReason(const Engine &engine, Explainer &explainer, const WideText &body, const WideText &number,
                     Reason &reason)
{
    const Explanation explanation = explainer.explain(body, number, Depth::decision);
    const Rated rated = rate(engine, body, number);
    explainer.wasRated(explanation, rated.rating);
    if (explanation.rating == rated.rating) {
        reason = reasonOf(explanation);
    }
    return rated;
}

} // namespace velq::kit
