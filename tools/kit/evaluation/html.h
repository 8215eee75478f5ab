// Text that becomes part of a page.
#ifndef VELQ_KIT_EVALUATION_HTML_H
#define VELQ_KIT_EVALUATION_HTML_H

#include <string>
#include <string_view>

namespace velq::kit {

// Text for an element or a quoted attribute.
std::string htmlText(std::string_view text);

} // namespace velq::kit

#endif
