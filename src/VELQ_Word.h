// The in-memory form of a token-store key.
#ifndef VELQ_WORD_H
#define VELQ_WORD_H

#include "velq.h"

#include <cstdint>

// `length` code units at `text`; a terminator may or may not follow.
struct word {
    const VELQ_WideChar *text;
    std::uint32_t length;
};

#endif
