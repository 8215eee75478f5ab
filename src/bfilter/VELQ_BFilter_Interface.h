// The classifier's two entries: checking and registering the token list of the last segmentation.
#ifndef VELQ_BFILTER_INTERFACE_H
#define VELQ_BFILTER_INTERFACE_H

#include <cstdint>

// 0 with the verdict (a Verdict, which is a VELQ_RATING_) and the spamicity, or -2 with both untouched when the store
// cannot be opened.
int bfilter_check(std::uint32_t *verdict, double *spamicity) noexcept;
// One training transaction; `operation` is a TrainingOperation. 0, or a negative failure code.
int bfilter_register(std::uint32_t operation, std::uint32_t amount) noexcept;

#endif
