// The text of a message as it is read: without what tells nothing, and what the rules ask of it.
#ifndef VELQ_KIT_READING_TEXT_FILTER_H
#define VELQ_KIT_READING_TEXT_FILTER_H

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace velq::kit {

// ASCII digits on end that make a text with a telephone number or an account in it.
inline constexpr std::size_t digitRunLength = 7;

bool isDigitUnit(char16_t unit); // ASCII and full-width
// The body without punctuation, capitals and isolated letters, up to its first zero unit.
std::u16string filterText(std::u16string_view body);
// For each unit that is left, whether a word begins there: something was dropped before it, or it or the unit before it
// is a comma or an ampersand, which are left.
std::vector<bool> wordBegins(std::u16string_view body);
// The body up to its first zero unit, with what the filter drops in square brackets, which are never left: "a[!]b".
std::u16string markDropped(std::u16string_view body);
// At least `digitRunLength` ASCII digits on end.
bool hasDigitRun(std::u16string_view filtered);

} // namespace velq::kit

#endif
