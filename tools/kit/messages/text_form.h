// The form in which the texts of messages go to the engine: prepared, or as they stand. What is rated, what corrects
// and what a store is built from have to be of one form.
#ifndef VELQ_KIT_MESSAGES_TEXT_FORM_H
#define VELQ_KIT_MESSAGES_TEXT_FORM_H

#include "kit/base/wide_text.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace velq::kit {

enum class TextForm : std::uint8_t { prepared, raw };

// The text in that form, up to its first zero unit where it is prepared.
WideText inForm(TextForm form, const WideText &text);

// The same for UTF-8; text that is not UTF-8 is read as empty.
std::u16string utf16InForm(TextForm form, std::string_view text);
std::u16string utf16InForm(TextForm form, std::u16string_view text);

} // namespace velq::kit

#endif
