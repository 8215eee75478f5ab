// What has a meaning in markup is written by name.
#include "kit/evaluation/html.h"

namespace velq::kit {

std::string htmlText(std::string_view text)
{
    std::string safe;
    for (const char c : text) {
        switch (c) {
        case '&':
            safe += "&amp;";
            break;
        case '<':
            safe += "&lt;";
            break;
        case '>':
            safe += "&gt;";
            break;
        case '"':
            safe += "&quot;";
            break;
        case '\'':
            safe += "&#39;";
            break;
        default:
            // Control characters have no place in a page; line ends and tabs are kept.
            safe += static_cast<unsigned char>(c) < 0x20 && c != '\n' && c != '\t' ? ' ' : c;
        }
    }
    return safe;
}

} // namespace velq::kit
