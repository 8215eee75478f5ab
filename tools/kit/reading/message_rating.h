// One rating with what is reported of it: the step that decided, the spamicity, and the time it took.
#ifndef VELQ_KIT_READING_MESSAGE_RATING_H
#define VELQ_KIT_READING_MESSAGE_RATING_H

#include "kit/base/temporary_folder.h"
#include "kit/base/wide_text.h"
#include "kit/engine/engine.h"
#include "kit/engine/rating.h"
#include "kit/reading/explanation.h"

#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>

namespace velq::kit {

// The installation that messages are rated on: the user's own, or, so that nothing is learned and no byte of it
// changes, a copy of it without training.
class RatedInstallation {
  public:
    // Throws what checkDataFiles and copyInstallation throw.
    RatedInstallation(const std::string &install, bool dryRun);

    const Installation &installation() const
    {
        return installation_;
    }

  private:
    std::optional<TemporaryFolder> copy_;
    Installation installation_;
};

struct Rated {
    Rating rating = Rating::unsure;
    std::int64_t microseconds = 0;
};

struct Reason {
    nlohmann::ordered_json name = "unexplained"; // of the step that decided
    nlohmann::ordered_json spamicity = nullptr;  // null where the classifier was not asked
};

// Rates one message, which trains the store unless that is off, and takes the time of the engine's call.
Rated rate(const Engine &engine, const WideText &body, const WideText &number);

// The same with the deciding step, found before the rating changes the store. Throws Error where the files cannot be
// read: the engine would call the message unsure. Where explanation and rating do not agree, another program has
// changed the data between them: the rating stands, and `reason` is left as it was.
Rated rateWithReason(const Engine &engine, Explainer &explainer, const WideText &body, const WideText &number,
                     Reason &reason);

} // namespace velq::kit

#endif
