// The text preparation for tests.
#ifndef VELQ_TEST_TEXT_PREPARE_H
#define VELQ_TEST_TEXT_PREPARE_H

#include "support/wide.h"
#include "velq_text.h"

#include <stdexcept>

namespace velq::test {

inline WideText units(char32_t codePoint)
{
    if (codePoint < 0x10000) {
        return WideText(1, static_cast<VELQ_WideChar>(codePoint));
    }
    return {static_cast<VELQ_WideChar>(0xD7C0 + (codePoint >> 10)),
            static_cast<VELQ_WideChar>(0xDC00 + (codePoint & 0x3FF))};
}

// Throws std::logic_error when the call for the size and the one for the text differ.
inline WideText prepare(const WideText &text)
{
    const std::size_t needed = velq_prepare_text(text.c_str(), nullptr, 0);
    WideText out(needed, 0x2592);
    if (velq_prepare_text(text.c_str(), out.data(), needed) != needed || out.find(VELQ_WideChar{0}) != needed - 1) {
        throw std::logic_error("the prepared text is not as long as it was said to be");
    }
    out.pop_back();
    return out;
}

} // namespace velq::test

#endif
