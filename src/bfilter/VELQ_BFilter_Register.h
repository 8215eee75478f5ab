// The count arithmetic of training.
#ifndef VELQ_BFILTER_REGISTER_H
#define VELQ_BFILTER_REGISTER_H

#include <cstdint>

// Training operations.
enum TrainingOperation : std::uint32_t { REGISTER_SPAM = 0, REGISTER_HAM = 1, UNREGISTER_SPAM = 2, UNREGISTER_HAM = 3 };

// Adds the token list of the last segmentation to one side of the open store, or takes it off, and moves that side's
// message count by `amount`. 0, or -2, also for another operation; what was written before a failure stays in the
// transaction.
int register_words(std::uint32_t operation, std::uint32_t amount) noexcept;

#endif
