// Ratings from the engine's numbers and as words.
#include "kit/engine/rating.h"

namespace velq::kit {

Rating ratingOf(std::uint32_t answer)
{
    return answer <= VELQ_RATING_UNSURE ? static_cast<Rating>(answer) : Rating::unsure;
}

std::string_view ratingName(Rating rating)
{
    switch (rating) {
    case Rating::spam:
        return "spam";
    case Rating::ham:
        return "ham";
    case Rating::unsure:
        return "unsure";
    }
    return {};
}

} // namespace velq::kit
