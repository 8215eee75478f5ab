// Messages written as templates: one sentence with names, amounts, dates and codes left open, of which any number of
// variants can be made.
//
//     {d:6}        six digits                       {slot}       one of the slot's values
//     {n:2-31}     a whole number of the range      [a|b||c]     one of the alternatives, which may be empty
//     {hex:8}      digits and a to f                [[ ]] {{ }}  a bracket or brace itself
//     {up:5}       capital letters
//
// Values and alternatives may hold everything but alternatives.
#ifndef VELQ_KIT_MESSAGES_MESSAGE_TEMPLATE_H
#define VELQ_KIT_MESSAGES_MESSAGE_TEMPLATE_H

#include "kit/messages/sampling.h"

#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace velq::kit {

// The values of each slot.
using TemplateSlots = std::map<std::string, std::vector<std::string>, std::less<>>;

// One variant. Throws Error (badData) that says what is wrong with the template or a value that it comes to, without
// where it stands: an unknown slot, brackets that do not match, slots that lead to each other without end.
std::string makeVariant(std::string_view message, const TemplateSlots &slots, SeededSequence &sequence);

// Throws the same for whatever any variant could come to.
void checkTemplate(std::string_view message, const TemplateSlots &slots);

} // namespace velq::kit

#endif
