// What a message is rated: the kit's one type for it. Its values are those of the engine's exports.
#ifndef VELQ_KIT_ENGINE_RATING_H
#define VELQ_KIT_ENGINE_RATING_H

#include "velq.h"

#include <cstdint>
#include <string_view>

namespace velq::kit {

enum class Rating : std::uint8_t { spam, ham, unsure };

static_assert(static_cast<std::uint32_t>(Rating::spam) == VELQ_RATING_SPAM);
static_assert(static_cast<std::uint32_t>(Rating::ham) == VELQ_RATING_HAM);
static_assert(static_cast<std::uint32_t>(Rating::unsure) == VELQ_RATING_UNSURE);

// Of what VELQ_CheckSpamMsgSync answers; a value that it does not document is unsure.
Rating ratingOf(std::uint32_t answer);

// "spam", "ham" or "unsure".
std::string_view ratingName(Rating rating);

} // namespace velq::kit

#endif
