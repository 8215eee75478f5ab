// Which letters of different scripts look alike.
#ifndef VELQ_LOOK_ALIKES_H
#define VELQ_LOOK_ALIKES_H

#include "text_tables.h"

#include <string_view>

namespace velq::text {

// What a letter counts as that the folding has left. `forms` are those it had before: where capital and small letter
// look unlike, the capital decides. A capital Greek eta is an h, a small one an n.
Letter letterOf(char32_t folded, std::u32string_view forms);

// Ends the process with a message where a table breaks the rule that keeps a prepared text as it is: a letter that is
// put for another looks like letters of no further script.
void checkLookAlikes();

} // namespace velq::text

#endif
