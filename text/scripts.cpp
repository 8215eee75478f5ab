#include "scripts.h"

#include <algorithm>
#include <iterator>
#include <utf8proc.h>

namespace velq::text {

namespace {

struct Range {
    char32_t first;
    char32_t last;
    Script script;
};

constexpr Range scripts[] = {
    {U'A', U'Z', latin},        {U'a', U'z', latin},        {0xAA, 0xAA, latin},        {0xBA, 0xBA, latin},
    {0xC0, 0x2AF, latin},       {0x370, 0x3E1, greek},      {0x3E2, 0x3EF, other},      {0x3F0, 0x3FF, greek},
    {0x400, 0x52F, cyrillic},   {0x531, 0x587, other},      {0x13A0, 0x13FF, other},    {0x1C80, 0x1C8F, cyrillic},
    {0x1D00, 0x1D25, latin},    {0x1D26, 0x1D2A, greek},    {0x1D2B, 0x1D2B, cyrillic}, {0x1D6B, 0x1D77, latin},
    {0x1D79, 0x1D9A, latin},    {0x1E00, 0x1EFF, latin},    {0x1F00, 0x1FFF, greek},    {0x2126, 0x2126, greek},
    {0x212A, 0x212B, latin},    {0x2C60, 0x2C7F, latin},    {0x2C80, 0x2CE3, other},    {0xA4D0, 0xA4F7, other},
    {0xA640, 0xA66E, cyrillic}, {0xA680, 0xA69B, cyrillic}, {0xA722, 0xA787, latin},    {0xA78B, 0xA7FF, latin},
    {0xAB30, 0xAB64, latin},    {0xAB65, 0xAB65, greek},    {0xAB70, 0xABBF, other},
};

} // namespace

bool isLetter(char32_t codePoint)
{
    const utf8proc_category_t category = utf8proc_category(static_cast<utf8proc_int32_t>(codePoint));
    return category >= UTF8PROC_CATEGORY_LU && category <= UTF8PROC_CATEGORY_LO;
}

std::optional<Script> scriptOf(char32_t letter)
{
    if (!isLetter(letter)) {
        return std::nullopt;
    }
    const auto *const range = std::find_if(std::begin(scripts), std::end(scripts), [&](const Range &candidate) {
        return letter >= candidate.first && letter <= candidate.last;
    });
    return range != std::end(scripts) ? std::optional(range->script) : std::nullopt;
}

} // namespace velq::text
