// Reads a template from left to right, writes one variant of it, or walks over all that it can come to.
#include "kit/messages/message_template.h"

#include "kit/base/status.h"

#include <charconv>
#include <concepts>
#include <cstdint>
#include <optional>
#include <system_error>

namespace velq::kit {

namespace {

constexpr int deepestSlot = 3; // values that hold slots whose values hold slots

[[noreturn]] void fail(const std::string &what)
{
    throw Error(Status::badData, what);
}

std::optional<std::uint64_t> numberOf(std::string_view text)
{
    std::uint64_t number = 0;
    const char *end = text.data() + text.size();
    if (text.empty() || std::from_chars(text.data(), end, number) != std::from_chars_result{end, std::errc()}) {
        return std::nullopt;
    }
    return number;
}

// What stands between `open` at the text's beginning and its closing sign, doubled signs passed over; takes both and it
// from the text.
std::string_view takeEnclosed(std::string_view &text, char close)
{
    for (std::size_t at = 1; at < text.size(); ++at) {
        if (text[at] != close) {
            continue;
        }
        if (at + 1 < text.size() && text[at + 1] == close) {
            ++at;
            continue;
        }
        const std::string_view inside = text.substr(1, at - 1);
        text.remove_prefix(at + 1);
        return inside;
    }
    fail(std::string("a ") + text.front() + " is never closed; write it twice where it stands for itself");
}

std::vector<std::string_view> alternativesOf(std::string_view inside)
{
    std::vector<std::string_view> alternatives;
    for (;;) {
        const std::size_t bar = inside.find('|');
        alternatives.push_back(inside.substr(0, bar));
        if (bar == std::string_view::npos) {
            return alternatives;
        }
        inside.remove_prefix(bar + 1);
    }
}

class Writer {
  public:
    // Without a sequence: walks over every alternative and every value instead of drawing one.
    Writer(const TemplateSlots &slots, SeededSequence *sequence) : slots_(slots), sequence_(sequence) {}

    std::string write(std::string_view text, int depth, bool mayHoldAlternatives)
    {
        std::string made;
        while (!text.empty()) {
            const char sign = text.front();
            const bool isSign = sign == '[' || sign == ']' || sign == '{' || sign == '}';
            if (isSign && text.size() > 1 && text[1] == sign) {
                made += sign;
                text.remove_prefix(2);
            } else if (sign == '{') {
                made += writeOpen(takeEnclosed(text, '}'), depth);
            } else if (sign == '[' && mayHoldAlternatives) {
                made += writeOneOf(alternativesOf(takeEnclosed(text, ']')), depth);
            } else if (isSign) {
                fail(std::string("a ") + sign + " stands where none belongs; write it twice for itself");
            } else {
                made += sign;
                text.remove_prefix(1);
            }
        }
        return made;
    }

  private:
    template <typename Texts>
    std::string writeOneOf(const Texts &texts, int depth)
    {
        if (sequence_ != nullptr) {
            return write(texts[sequence_->below(texts.size())], depth, false);
        }
        for (const auto &text : texts) {
            write(text, depth, false);
        }
        return {};
    }

    std::string writeOpen(std::string_view name, int depth)
    {
        const std::size_t colon = name.find(':');
        if (colon != std::string_view::npos) {
            return writeRandom(name.substr(0, colon), name.substr(colon + 1));
        }
        const auto slot = slots_.find(name);
        if (slot == slots_.end()) {
            fail("no slot has the name " + std::string(name));
        }
        if (depth == deepestSlot) {
            fail("the slot " + std::string(name) + " is reached over more than " + std::to_string(deepestSlot) +
                 " others");
        }
        return writeOneOf(slot->second, depth + 1);
    }

    std::string writeRandom(std::string_view kind, std::string_view argument)
    {
        const std::size_t dash = argument.find('-');
        if (kind == "n" && dash != std::string_view::npos) {
            const auto least = numberOf(argument.substr(0, dash));
            const auto most = numberOf(argument.substr(dash + 1));
            if (least && most && *least <= *most && *most - *least < UINT32_MAX) {
                return std::to_string(*least + draw(*most - *least + 1));
            }
        }
        const std::string_view signs = kind == "d"     ? "0123456789"
                                       : kind == "hex" ? "0123456789abcdef"
                                       : kind == "up"  ? "ABCDEFGHIJKLMNOPQRSTUVWXYZ"
                                                       : "";
        constexpr std::uint64_t longest = 100;
        const auto count = numberOf(argument);
        if (signs.empty() || !count || *count == 0 || *count > longest) {
            fail("{" + std::string(kind) + ":" + std::string(argument) +
                 "} is not one of {d:6}, {n:2-31}, {hex:8} and {up:5}");
        }
        std::string made;
        for (std::uint64_t i = 0; i < *count; ++i) {
            made += signs[draw(signs.size())];
        }
        return made;
    }

    template <std::unsigned_integral Number>
    Number draw(Number bound)
    {
        return sequence_ != nullptr ? sequence_->below(bound) : 0;
    }

    const TemplateSlots &slots_;
    SeededSequence *sequence_;
};

} // namespace

std::string makeVariant(std::string_view message, const TemplateSlots &slots, SeededSequence &sequence)
{
    return Writer(slots, &sequence).write(message, 0, true);
}

void checkTemplate(std::string_view message, const TemplateSlots &slots)
{
    Writer(slots, nullptr).write(message, 0, true);
}

} // namespace velq::kit
