// Numbers by libphonenumber, where the build has it.
#include "kit/base/phone_number.h"

#include "kit/base/letter_case.h"
#include "kit/base/status.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <utf8.h>

#ifdef VELQ_WITH_COUNTRIES
#include <phonenumbers/logger.h>
#include <phonenumbers/phonenumberutil.h>
#include <phonenumbers/shortnumberinfo.h>
#include <set>
#endif

namespace velq::kit {

// ---- Punctuation --------------------------------------------------------------------------------------------------

// Blanks, dashes and marks of direction beyond ASCII.
static constexpr std::array<char32_t, 19> invisibleOrBlank = {0x00A0, 0x00AD, 0x2007, 0x2009, 0x200B, 0x200E, 0x200F,
                                                              0x2010, 0x2011, 0x2012, 0x2013, 0x202A, 0x202B, 0x202C,
                                                              0x202D, 0x202F, 0x2060, 0x2066, 0x2069};

// The bytes that the mark has at the beginning of the text; 0 where there is none.
static std::size_t markAtStart(std::string_view text)
{
    for (const char32_t mark : invisibleOrBlank) {
        std::string bytes;
        utf8::append(mark, bytes);
        if (text.starts_with(bytes)) {
            return bytes.size();
        }
    }
    return 0;
}

static std::string inAsciiBlanks(std::string_view text)
{
    std::string out;
    while (!text.empty()) {
        const std::size_t length = static_cast<unsigned char>(text.front()) < 0x80 ? 0 : markAtStart(text);
        out += length == 0 ? text.front() : ' ';
        text.remove_prefix(std::max<std::size_t>(length, 1));
    }
    return out;
}

static std::string_view trimmed(std::string_view text)
{
    constexpr std::string_view blanks = " \t\r\n";
    const std::size_t start = text.find_first_not_of(blanks);
    return start == std::string_view::npos ? std::string_view()
                                           : text.substr(start, text.find_last_not_of(blanks) - start + 1);
}

bool isPlainNumber(std::string_view number)
{
    if (number.starts_with('+')) {
        number.remove_prefix(1);
    }
    return number.size() >= 3 &&
           std::ranges::all_of(number, [](unsigned char unit) { return std::isdigit(unit) != 0; });
}

std::string withoutPunctuation(std::string_view number)
{
    const std::string spaced = inAsciiBlanks(number);
    std::string bare(trimmed(spaced));
    const std::size_t trunk = bare.find("(0)");
    if (trunk != std::string::npos && (bare.starts_with('+') || bare.starts_with("00"))) {
        bare.erase(trunk, 3);
    }
    std::erase_if(bare, [](char unit) { return std::string_view(" -./()[]").find(unit) != std::string_view::npos; });
    return isPlainNumber(bare) ? bare : std::string(trimmed(number));
}

// ---- Countries ----------------------------------------------------------------------------------------------------

NumberForm::NumberForm(const std::string &country) : country_(inCapitals(country))
{
    if (const std::string what = fault(country); !what.empty()) {
        throw Error(Status::usage, what);
    }
}

#ifdef VELQ_WITH_COUNTRIES

using i18n::phonenumbers::PhoneNumber;
using i18n::phonenumbers::PhoneNumberUtil;

// The library's own messages, of numbers that it cannot read, go nowhere.
static const PhoneNumberUtil &library()
{
    static PhoneNumberUtil *const util = [] {
        PhoneNumberUtil *const instance = PhoneNumberUtil::GetInstance();
        instance->SetLogger(new i18n::phonenumbers::NullLogger()); // which it owns
        return instance;
    }();
    return *util;
}

std::string NumberForm::fault(const std::string &country)
{
    std::set<std::string> known;
    library().GetSupportedRegions(&known);
    return known.contains(inCapitals(country)) ? std::string()
                                               : country + " is not a country; give two letters, such as GB, US or CN";
}

static bool isShortNumber(const PhoneNumber &number, const std::string &country)
{
    static const i18n::phonenumbers::ShortNumberInfo shortNumbers;
    return shortNumbers.IsPossibleShortNumberForRegion(number, country);
}

std::string NumberForm::of(const std::string &number) const
{
    std::string bare = withoutPunctuation(number);
    if (!isGiven() || !isPlainNumber(bare) || bare.starts_with("10086")) {
        return bare;
    }
    PhoneNumber parsed;
    if (library().Parse(bare, country_, &parsed) != PhoneNumberUtil::NO_PARSING_ERROR) {
        return bare;
    }
    const bool isWhole = library().IsPossibleNumberWithReason(parsed) == PhoneNumberUtil::IS_POSSIBLE;
    if (!library().IsValidNumber(parsed) && (!isWhole || (!bare.starts_with('+') && isShortNumber(parsed, country_)))) {
        return bare;
    }
    std::string whole;
    library().Format(parsed, PhoneNumberUtil::E164, &whole);
    return whole;
}

#else

std::string NumberForm::fault(const std::string & /*country*/)
{
    return "this velq was built without libphonenumber, so it knows no countries; build it with VELQ_COUNTRIES";
}

std::string NumberForm::of(const std::string &number) const
{
    return withoutPunctuation(number);
}

#endif

} // namespace velq::kit
