// The preparation of a text: every character is folded by itself, by tables; then, in words whose letters are of
// several scripts, those that look like letters of the word's own script.
#include "text_tables.h"
#include "velq_text.h"
#include "written_tables.h"

#include <cstddef>
#include <cstdint>

namespace velq::text {

namespace {

constexpr std::uint32_t replacement = 0xFFFD; // for half a surrogate pair

bool isHighSurrogate(std::uint32_t unit) noexcept
{
    return unit >= 0xD800 && unit < 0xDC00;
}

bool isLowSurrogate(std::uint32_t unit) noexcept
{
    return unit >= 0xDC00 && unit < 0xE000;
}

const Folding &foldingAt(std::uint32_t codePoint) noexcept
{
    const std::size_t block = blockOf[codePoint >> blockBits];
    return foldings[foldingIndexes[block * blockSize + codePoint % blockSize]];
}

// The character at `at`, which is moved behind it. Not called at the zero unit.
std::uint32_t takeCodePoint(const VELQ_WideChar *&at) noexcept
{
    const std::uint32_t unit = *at++;
    if (!isHighSurrogate(unit)) {
        return isLowSurrogate(unit) ? replacement : unit;
    }
    const std::uint32_t low = *at;
    if (!isLowSurrogate(low)) {
        return replacement;
    }
    ++at;
    return 0x10000 + ((unit - 0xD800) << 10) + (low - 0xDC00);
}

struct FoldedUnit {
    VELQ_WideChar unit;
    std::uint8_t letter; // index into the letters, endsWord or insideWord
};

// Where the reading of a text stands. A copy reads on from the same place.
struct Position {
    const VELQ_WideChar *at;
    const std::uint16_t *pending; // units of a folding that were not yet read
    std::uint8_t pendingCount;
    std::uint16_t lowSurrogate; // of a character that stays, or 0
};

// Reads the next folded unit. False at the end of the text.
bool takeUnit(Position &position, FoldedUnit &taken) noexcept
{
    for (;;) {
        if (position.pendingCount != 0) {
            const std::uint16_t unit = *position.pending++;
            --position.pendingCount;
            taken = {static_cast<VELQ_WideChar>(unit), foldingAt(unit).letter};
            return true;
        }
        if (position.lowSurrogate != 0) {
            taken = {static_cast<VELQ_WideChar>(position.lowSurrogate), endsWord};
            position.lowSurrogate = 0;
            return true;
        }
        if (*position.at == 0) {
            return false;
        }
        const std::uint32_t codePoint = takeCodePoint(position.at);
        const Folding &folding = foldingAt(codePoint);
        if (folding.length == 1) {
            taken = {static_cast<VELQ_WideChar>(folding.text), folding.letter};
            return true;
        }
        if (folding.length == unchanged) {
            if (codePoint < 0x10000) {
                taken = {static_cast<VELQ_WideChar>(codePoint), folding.letter};
            } else {
                taken = {static_cast<VELQ_WideChar>(0xD7C0 + (codePoint >> 10)), endsWord};
                position.lowSurrogate = static_cast<std::uint16_t>(0xDC00 + (codePoint & 0x3FF));
            }
            return true;
        }
        position.pending = pool + folding.text;
        position.pendingCount = folding.length;
    }
}

std::size_t foldedLength(const VELQ_WideChar *body) noexcept
{
    std::size_t length = 0;
    while (*body != 0) {
        const std::uint32_t codePoint = takeCodePoint(body);
        const std::uint8_t units = foldingAt(codePoint).length;
        length += units != unchanged ? units : codePoint < 0x10000 ? 1U : 2U;
    }
    return length;
}

unsigned scriptBit(std::uint8_t letter) noexcept
{
    return letter >= firstLetter ? 1U << letters[letter].script : 0;
}

bool isOneScript(unsigned scripts) noexcept
{
    return (scripts & (scripts - 1)) == 0;
}

// The script of a word: the one in which the fewest letters would stay strange, of several the one with the most
// letters. What was folded once counts no better for the scripts that were not chosen, so that the choice stays.
unsigned scriptOfWord(Position word, std::size_t length) noexcept
{
    std::size_t own[scriptCount]{};
    std::size_t strange[scriptCount]{};
    FoldedUnit taken{};
    for (std::size_t i = 0; i < length && takeUnit(word, taken); ++i) {
        if (taken.letter < firstLetter) {
            continue;
        }
        const Letter &letter = letters[taken.letter];
        ++own[letter.script];
        for (unsigned script = 0; script < scriptCount; ++script) {
            const bool fits = script == letter.script || (script < other && letter.lookAlikes[script] != 0);
            strange[script] += fits ? 0U : 1U;
        }
    }
    unsigned best = scriptCount;
    for (unsigned script = 0; script < scriptCount; ++script) {
        const bool isBetter = best == scriptCount || strange[script] < strange[best] ||
                              (strange[script] == strange[best] && own[script] > own[best]);
        if (own[script] != 0 && isBetter) {
            best = script;
        }
    }
    return best;
}

// Puts the letters of the word's own script for those that look like them, in the `length` units at `out`.
void foldLookAlikes(Position word, VELQ_WideChar *out, std::size_t length) noexcept
{
    const unsigned script = scriptOfWord(word, length);
    if (script >= other) {
        return;
    }
    FoldedUnit taken{};
    for (std::size_t i = 0; i < length && takeUnit(word, taken); ++i) {
        const Letter &letter = letters[taken.letter];
        if (taken.letter >= firstLetter && letter.script != script && letter.lookAlikes[script] != 0) {
            out[i] = static_cast<VELQ_WideChar>(letter.lookAlikes[script]);
        }
    }
}

void fold(const VELQ_WideChar *body, VELQ_WideChar *out) noexcept
{
    Position position{body, nullptr, 0, 0};
    Position word = position;
    VELQ_WideChar *wordOut = out;
    unsigned scripts = 0; // of the letters of the word so far
    FoldedUnit taken{};
    for (;;) {
        const Position before = position;
        const bool isTaken = takeUnit(position, taken);
        if (!isTaken || taken.letter == endsWord) {
            if (!isOneScript(scripts)) {
                foldLookAlikes(word, wordOut, static_cast<std::size_t>(out - wordOut));
            }
            scripts = 0;
        } else {
            if (scripts == 0) {
                word = before;
                wordOut = out;
            }
            scripts |= scriptBit(taken.letter);
        }
        if (!isTaken) {
            *out = 0;
            return;
        }
        *out++ = taken.unit;
    }
}

} // namespace

} // namespace velq::text

size_t velq_prepare_text(const VELQ_WideChar *body, VELQ_WideChar *out, size_t capacity) noexcept
{
    static constexpr VELQ_WideChar empty = 0;
    const VELQ_WideChar *const text = body != nullptr ? body : &empty;
    const std::size_t needed = velq::text::foldedLength(text) + 1;
    if (out != nullptr && needed <= capacity) {
        velq::text::fold(text, out);
    }
    return needed;
}
