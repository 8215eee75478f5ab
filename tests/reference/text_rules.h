// The reference model's text and number rules: the punctuation filter, the digit-run test, the stored form of numbers
// and their matching. Written with strings only, for clarity; nothing here is shared with the engine.
#ifndef VELQ_REFERENCE_TEXT_RULES_H
#define VELQ_REFERENCE_TEXT_RULES_H

#include "support/wide.h"

#include <cstddef>
#include <string>

namespace velq::reference {

using test::WideText;
using test::WideView;

// The longest part of a number that takes part in anything.
inline constexpr std::size_t longestNarrowNumber = 39;

bool isPunctuation(VELQ_WideChar unit);

// The body without punctuation, in lower case, without isolated Latin letters.
WideText filterMessageBody(const WideText &body);

// Seven or more ASCII digits in a row.
bool hasTelNumber(const WideText &text);

// The low bytes of the first 39 units, up to the first zero byte.
std::string narrowNumber(const WideText &number);

// The form in which lists keep a number and search for it: narrow, last character first. No terminator.
std::string numberKey(const WideText &number);

// A stored key as the interface shows it: first character first, each byte sign-extended to a unit.
WideText displayedNumber(const std::string &key);

// Whether two keys name the same number. Long ones (11 characters or more) agree in the number's last 11 characters,
// short ones are equal and not empty.
bool numbersMatch(const std::string &a, const std::string &b);

} // namespace velq::reference

#endif
