// The rating of one message.
#ifndef VELQ_RATING_MANAGER_H
#define VELQ_RATING_MANAGER_H

#include "velq.h"

#include <cstdint>

// Sets the rating (VELQ_RATING_...) and returns 0 always. Trains on confident verdicts.
int checkSpamMsg(std::uint32_t *rating, const VELQ_WideChar *body, const VELQ_WideChar *number) noexcept;

#endif
