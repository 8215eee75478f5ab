// The shares of the oddities are chosen so that each turns up in every few hundred operations without ending most
// updates and edits early.
#include "generator.h"

#include <algorithm>

namespace velq::reference {

namespace {

using test::utf16Bytes;
using test::utf16BytesWithTerminator;
using test::wide;

constexpr int maximalText = 29;

const std::vector<std::uint32_t> extremeCounts = {0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFEu, 0xFFFFFFFFu, 65536, 1000000};

std::vector<WideText> unitsOf(std::string_view text)
{
    std::vector<WideText> units;
    for (const VELQ_WideChar unit : wide(text)) {
        units.push_back(WideText(1, unit));
    }
    return units;
}

// Units that the filter drops or changes, their neighbours, and units that are no characters.
std::vector<WideText> makeOddities()
{
    std::vector<WideText> out = unitsOf("ABZ,&\u20ac\uff11");
    out.push_back(wide("\xF0\x9F\x98\x80"));
    for (unsigned unit = 1; unit <= 0xFFFF; ++unit) {
        const auto isMark = [](unsigned value) { return isPunctuation(static_cast<VELQ_WideChar>(value)); };
        const bool isOther = unit == 1 || unit == 0xD800 || unit == 0xDC00 || unit == 0xFFFF;
        if (isOther || isMark(unit) || isMark(unit - 1) || isMark(unit + 1)) {
            out.push_back(WideText(1, static_cast<VELQ_WideChar>(unit)));
        }
    }
    return out;
}

const std::vector<WideText> &oddities()
{
    static const std::vector<WideText> units = makeOddities();
    return units;
}

// The digits of the scoring rule's own limits.
const std::vector<std::uint32_t> oddPriors = {0, 1, 449999, 450000, 450001, 520000, 899999, 900000, 900001};

const std::vector<std::string> numberPool = {"13812345678",
                                             "+8613812345678",
                                             "008613812345678",
                                             "23812345678",
                                             "3812345678",
                                             "1234567890",
                                             "12345678901",
                                             "112345678901",
                                             "10086",
                                             "100861",
                                             "10086123456789",
                                             "1008",
                                             "010086",
                                             "1",
                                             "",
                                             "+86138",
                                             "ABC",
                                             "abc",
                                             "86-138 1234",
                                             "55512345678"};

Value storedValue(const TokenCounts &counts)
{
    return Value::ofBlob(test::tokenValueBytes(counts));
}

} // namespace

Generator::Generator(std::uint64_t seed, bool wideVocabulary) : dice(seed), wide_(wideVocabulary)
{
    const std::vector<WideText> alphabets[] = {unitsOf("abcde"), unitsOf("\u4e2d\u5956\u94b1\u5427\u4eec"),
                                               unitsOf("abc\u4e2d\u5956\u94b1"), unitsOf("ab12\u5956&")};
    units_ = alphabets[dice.below(std::size(alphabets))];
    if (wide_) {
        for (int i = 0; i < 6; ++i) {
            units_.push_back(WideText(1, static_cast<VELQ_WideChar>(0x6000 + i)));
        }
    }
    const int keys = wide_ ? dice.between(50, 120) : dice.between(0, 30);
    for (int i = 0; i < keys; ++i) {
        keys_.push_back(key());
    }
    for (const std::string &text : numberPool) {
        if (dice.chance(50)) {
            numbers_.push_back(wide(text));
        }
    }
    numbers_.push_back(WideText{0x0131, 0x4E32, 0x0033, 0x00E9, 0x0038});
    numbers_.push_back(WideText{0x0031, 0x0100, 0x0033});
    numbers_.push_back(digits(maximalText));
}

WideText Generator::unit()
{
    return dice.pick(units_);
}

WideText Generator::digits(int length)
{
    WideText out;
    for (int i = 0; i < length; ++i) {
        out += static_cast<VELQ_WideChar>('0' + dice.between(0, 9));
    }
    return out;
}

// Mostly of the lengths that can be found; sometimes too short or too long for that.
WideText Generator::key()
{
    const int length = dice.chance(6) ? dice.pick(std::vector<int>{1, 5}) : dice.between(2, 4);
    WideText out;
    for (int i = 0; i < length; ++i) {
        out += unit();
    }
    return out;
}

std::uint32_t Generator::count(int limit)
{
    return dice.chance(1) ? dice.pick(extremeCounts) : static_cast<std::uint32_t>(dice.between(0, limit));
}

TokenCounts Generator::counts()
{
    constexpr int few = 2;
    constexpr int many = 40;
    const std::uint32_t reserved = dice.chance(10) ? dice.pick(extremeCounts) : 0;
    if (dice.chance(1)) {
        // Together they wrap to zero.
        const std::uint32_t spam = count(many);
        return {spam, 0u - spam, reserved};
    }
    switch (dice.below(8)) {
    case 0:
        return {0, 0, reserved};
    case 1:
        return {count(many), count(many), reserved};
    case 2:
    case 3:
    case 4:
        return {count(many), dice.chance(70) ? 0 : count(few), reserved};
    default:
        return {dice.chance(70) ? 0 : count(few), count(many), reserved};
    }
}

std::vector<test::ProbabilityRow> Generator::tokenRows()
{
    std::vector<test::ProbabilityRow> rows;
    for (const WideText &text : keys_) {
        Value value = storedValue(counts());
        if (dice.chance(3)) {
            value.bytes.resize(dice.below(16), '\x05');
        }
        rows.push_back({Value::ofBlob(utf16Bytes(text)), value});
    }
    if (dice.chance(85)) {
        const bool even = dice.chance(60);
        const std::uint32_t spam = dice.chance(4) ? dice.pick(extremeCounts) : even ? 50 : count(60);
        const std::uint32_t ham = dice.chance(4) ? dice.pick(extremeCounts) : even ? 50 : count(60);
        rows.push_back({Value::ofBlob(messageCountKeyBytes), storedValue({spam, ham, dice.chance(20) ? 7u : 0u})});
    }
    if (dice.chance(50)) {
        const auto millionths = static_cast<std::uint32_t>(dice.between(100000, 950000));
        rows.push_back(
            {Value::ofBlob(priorKeyBytes), storedValue({dice.chance(30) ? dice.pick(oddPriors) : millionths, 0, 0})});
    }
    return rows;
}

WideText Generator::piece()
{
    const int kind = dice.between(1, 100);
    if (kind <= 60 && !keys_.empty()) {
        return dice.pick(keys_);
    }
    if (kind <= 80) {
        return unit();
    }
    if (kind <= 92) {
        return dice.pick(oddities());
    }
    return digits(dice.chance(40) ? dice.between(6, 8) : dice.between(1, 12));
}

TextArgument Generator::body()
{
    if (dice.chance(1)) {
        return std::nullopt;
    }
    const int longest = wide_ && dice.chance(60) ? 90 : dice.chance(30) ? 30 : 10;
    WideText text;
    for (int pieces = dice.between(0, longest); pieces > 0; --pieces) {
        text += piece();
    }
    return text;
}

WideText Generator::number()
{
    WideText text = dice.pick(numbers_);
    if (dice.chance(8)) {
        text.insert(0, wide("+86"));
    }
    return text;
}

TextArgument Generator::sender()
{
    if (dice.chance(2)) {
        return std::nullopt;
    }
    const bool isLong = dice.chance(3);
    WideText text = number();
    // A step of its own: compilers order the operands of one expression as they like.
    if (isLong) {
        text += digits(dice.between(25, 45));
    }
    return text;
}

TextArgument Generator::listNumber()
{
    if (dice.chance(2)) {
        return std::nullopt;
    }
    return dice.chance(3) ? digits(dice.between(maximalText, maximalText + 2)) : number();
}

TextArgument Generator::name()
{
    if (dice.chance(20)) {
        return std::nullopt;
    }
    WideText text;
    for (int length = dice.chance(4) ? dice.between(maximalText, maximalText + 1) : dice.between(0, 6); length > 0;
         --length) {
        text += unit();
    }
    return text;
}

std::vector<NodeArgument> Generator::nodes()
{
    std::vector<NodeArgument> out(dice.chance(8) ? 0 : static_cast<std::size_t>(dice.between(1, 5)));
    for (NodeArgument &node : out) {
        node = {listNumber(), name(), extendID()};
    }
    return out;
}

std::int32_t Generator::hiddenFlag()
{
    return dice.chance(4) ? dice.pick(std::vector<int>{-1, 2, 77}) : dice.between(0, 1);
}

std::int32_t Generator::hiddenFilter()
{
    return dice.chance(4) ? dice.pick(std::vector<int>{-2, 2, 77}) : dice.between(-1, 1);
}

std::vector<test::ProbabilityRow> Generator::probabilityRows()
{
    std::vector<test::ProbabilityRow> rows;
    for (int left = dice.between(0, 12); left > 0; --left) {
        const WideText text = !keys_.empty() && dice.chance(60) ? dice.pick(keys_) : key();
        test::ProbabilityRow row = test::probabilityRow(text, counts());
        if (dice.chance(4)) {
            row.key = Value::ofBlob(messageCountKeyBytes + std::string(2, '\0'));
        }
        if (dice.chance(2)) {
            row.key = Value::ofBlob(priorKeyBytes + std::string(2, '\0'));
        }
        if (dice.chance(4)) {
            row.key.bytes += utf16Bytes(unit());
        }
        if (dice.chance(4)) {
            row.value.bytes += "more";
        }
        if (dice.chance(1)) {
            row.value.bytes.resize(dice.below(12));
        }
        if (dice.chance(1)) {
            row.key.bytes.resize(row.key.bytes.size() - static_cast<std::size_t>(dice.between(1, 2)));
        }
        rows.push_back(row);
    }
    return rows;
}

std::vector<test::WhiteNumberRow> Generator::whiteNumberRows()
{
    std::vector<test::WhiteNumberRow> rows;
    for (int left = dice.between(0, 6); left > 0; --left) {
        const bool known = dice.chance(50);
        const WideText text = known ? number().substr(0, maximalText) : digits(dice.between(1, 12));
        test::WhiteNumberRow row = test::whiteNumberRow(text, name().value_or(wide("x")).substr(0, maximalText));
        if (dice.chance(1)) {
            row.number = Value::ofBlob(utf16BytesWithTerminator(digits(maximalText + 1)));
        }
        if (dice.chance(1)) {
            row.name.bytes.resize(row.name.bytes.size() - static_cast<std::size_t>(dice.between(1, 2)));
        }
        rows.push_back(row);
    }
    return rows;
}

} // namespace velq::reference
