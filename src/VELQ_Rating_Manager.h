// The rating of one message.
#ifndef VELQ_RATING_MANAGER_H
#define VELQ_RATING_MANAGER_H

#include "velq.h"

#include <cstdint>

// Sets the rating (0 spam, 1 ham, 2 unsure) and returns 0 always. Trains on confident verdicts.
int checkSpamMsg(std::uint32_t *rating, const VELQ_WideChar *body, const VELQ_WideChar *number) noexcept;

#endif
