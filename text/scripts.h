// The scripts of letters, as far as the folding of look-alikes asks for them.
#ifndef VELQ_SCRIPTS_H
#define VELQ_SCRIPTS_H

#include "text_tables.h"

#include <optional>

namespace velq::text {

bool isLetter(char32_t codePoint);

// None for what is no letter, and for letters of scripts without look-alikes.
std::optional<Script> scriptOf(char32_t letter);

} // namespace velq::text

#endif
