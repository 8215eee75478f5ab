// What the preparation makes of a single character: the rules that look at nothing around it. Built on utf8proc, for
// the program that writes the tables.
#ifndef VELQ_FOLDINGS_H
#define VELQ_FOLDINGS_H

#include <string>

namespace velq::text {

struct FoldedCharacter {
    std::u32string text;
    std::u32string
        forms; // the single letters it was on the way: of an accented capital that, the capital, the small one
};

// `codePoint` is any but a surrogate. The text is folded itself: each of its characters stays.
FoldedCharacter foldingOf(char32_t codePoint);

} // namespace velq::text

#endif
