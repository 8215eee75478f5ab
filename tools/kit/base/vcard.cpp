// Lines are unfolded first: a property may go on in the next line.
#include "kit/base/vcard.h"

#include "kit/base/letter_case.h"

#include <algorithm>
#include <optional>
#include <utility>

namespace velq::kit {

namespace {

struct Line {
    std::string text;
    std::uint64_t number = 0;
};

struct Property {
    std::string name;       // in capitals, without a group
    std::string parameters; // in capitals
    std::string value;
};

} // namespace

static std::string_view withoutMark(std::string_view text)
{
    constexpr std::string_view mark = "\xEF\xBB\xBF";
    return text.starts_with(mark) ? text.substr(mark.size()) : text;
}

bool isVcard(std::string_view text)
{
    constexpr std::string_view beginning = "BEGIN:VCARD";
    text = withoutMark(text);
    text.remove_prefix(std::min(text.find_first_not_of(" \r\n"), text.size()));
    return inCapitals(text.substr(0, beginning.size())) == beginning;
}

// A line that begins with a blank goes on with the one before; so does one behind a soft line end of quoted-printable.
static std::vector<Line> unfolded(std::string_view text)
{
    std::vector<Line> lines;
    std::uint64_t number = 0;
    bool isSoft = false;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        std::string_view line = text.substr(0, end);
        text.remove_prefix(std::min(end + 1, text.size()));
        ++number;
        if (line.ends_with('\r')) {
            line.remove_suffix(1);
        }
        if (isSoft && !lines.empty()) {
            lines.back().text.pop_back();
            lines.back().text += line;
        } else if (!lines.empty() && (line.starts_with(' ') || line.starts_with('\t'))) {
            lines.back().text += line.substr(1);
        } else {
            lines.push_back({std::string(line), number});
        }
        isSoft = lines.back().text.ends_with('=') &&
                 inCapitals(lines.back().text).find("QUOTED-PRINTABLE") != std::string::npos;
    }
    return lines;
}

static std::optional<Property> propertyOf(const std::string &line)
{
    bool isQuoted = false;
    std::size_t colon = 0;
    for (; colon < line.size() && (isQuoted || line[colon] != ':'); ++colon) {
        isQuoted = isQuoted != (line[colon] == '"');
    }
    if (colon == line.size()) {
        return std::nullopt;
    }
    const std::size_t parameters = std::min(line.find(';'), colon);
    std::string name = inCapitals(line.substr(0, parameters));
    name.erase(0, name.rfind('.') + 1); // npos + 1 is 0
    return Property{name, inCapitals(line.substr(parameters, colon - parameters)), line.substr(colon + 1)};
}

static std::string fromQuotedPrintable(const std::string &text)
{
    std::string out;
    const auto digit = [](char unit) {
        const std::size_t value = std::string_view("0123456789ABCDEF").find(inCapitals({&unit, 1}));
        return value == std::string_view::npos ? -1 : static_cast<int>(value);
    };
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '=' && i + 2 < text.size() && digit(text[i + 1]) >= 0 && digit(text[i + 2]) >= 0) {
            out += static_cast<char>(digit(text[i + 1]) * 16 + digit(text[i + 2]));
            i += 2;
        } else {
            out += text[i];
        }
    }
    return out;
}

// The parts of a value between semicolons, without its escapes.
static std::vector<std::string> partsOf(const Property &property)
{
    const bool isEncoded = property.parameters.find("QUOTED-PRINTABLE") != std::string::npos;
    const std::string value = isEncoded ? fromQuotedPrintable(property.value) : property.value;
    std::vector<std::string> parts(1);
    for (std::size_t i = 0; i < value.size(); ++i) {
        if (value[i] == ';') {
            parts.emplace_back();
        } else if (value[i] == '\\' && i + 1 < value.size()) {
            ++i;
            parts.back() += value[i] == 'n' || value[i] == 'N' ? ' ' : value[i];
        } else {
            parts.back() += value[i];
        }
    }
    return parts;
}

static std::string joined(const std::vector<std::string> &parts, std::string_view between)
{
    std::string text;
    for (const std::string &part : parts) {
        if (!part.empty()) {
            text += text.empty() ? "" : between;
            text += part;
        }
    }
    return text;
}

// "Fang Wang" of family name, given name and what follows.
static std::string nameOf(std::vector<std::string> parts)
{
    parts.resize(2);
    std::ranges::reverse(parts);
    return joined(parts, " ");
}

void readVcards(std::string_view text, const std::function<void(const Contact &)> &take)
{
    Contact contact;
    std::string otherName;
    for (const Line &line : unfolded(withoutMark(text))) {
        const auto property = propertyOf(line.text);
        if (!property) {
            continue;
        }
        if (property->name == "BEGIN") {
            contact = {};
            otherName.clear();
        } else if (property->name == "FN") {
            contact.name = joined(partsOf(*property), ";");
        } else if (property->name == "N") {
            otherName = nameOf(partsOf(*property));
        } else if (property->name == "TEL") {
            std::string number = joined(partsOf(*property), ";");
            if (inCapitals(number).starts_with("TEL:")) {
                number = number.substr(4, number.find(';') - 4);
            }
            contact.telephones.push_back({number, line.number});
        } else if (property->name == "END") {
            contact.name = contact.name.empty() ? otherName : contact.name;
            take(std::exchange(contact, {}));
        }
    }
}

} // namespace velq::kit
