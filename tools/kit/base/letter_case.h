// Letters A to Z in one case, for words that are compared: titles, labels, names of headers. All else stays as it is.
#ifndef VELQ_KIT_BASE_LETTER_CASE_H
#define VELQ_KIT_BASE_LETTER_CASE_H

#include <string>
#include <string_view>

namespace velq::kit {

std::string inSmallLetters(std::string_view text);
std::string inCapitals(std::string_view text);

} // namespace velq::kit

#endif
