#include "look_alikes.h"

#include "foldings.h"
#include "scripts.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string_view>

namespace velq::text {

namespace {

// One shape. `latin`, `cyrillic` and `greek` are put for it in words of those scripts; `letters` are the others that
// show it. Letters are small ones: a shape that only the capital shows counts for both, for a text says "BANK" and
// "bank".
struct Shape {
    char32_t latin;
    char32_t cyrillic;
    char32_t greek;
    std::u32string_view letters;
};

// In `letters`, as far as there are any: Cyrillic, Greek, Armenian, Coptic, Cherokee, Lisu. Letters that stand in a
// column are listed as letters too, since a Greek letter may be put for more than one shape.
constexpr Shape shapes[] = {
    {U'a', 0x430, 0x3B1, U"\u0430\u03B1\u2C81\u13AA\uA4EE"},
    {U'b', 0x432, 0x3B2, U"\u0432\u044C\u03B2\u2C83\u13F4\u13CF\uA4D0"},
    {U'c', 0x441, 0, U"\u0441\u2CA5\u13DF\uA4DA"},
    {U'd', 0, 0, U"\u0501\u13A0\u13E7\uA4D2\uA4D3"},
    {U'e', 0x435, 0x3B5, U"\u0435\u0454\u04BD\u03B5\u13AC\uA4F0"},
    {U'f', 0, 0, U"\u0493\u03DD\uA4DD"},
    {U'g', 0, 0, U"\u050D\u0581\u13C0\u13B6\u13F3\uA4D6"},
    {U'h', 0x43D, 0x3B7, U"\u043D\u04BB\u0570\u2C8F\u13BB\u13C2\uA4E7"},
    {U'i', 0x456, 0x3B9, U"\u0456\u03B9\u2C93\u13A5\uA4F2"},
    {U'j', 0, 0, U"\u0458\u03F3\u0575\u13AB\uA4D9"},
    {U'k', 0x43A, 0x3BA, U"\u043A\u03BA\u2C95\u13E6\uA4D7"},
    {U'l', 0, 0, U"\u04CF\u056C\u13DE\uA4E1"},
    {U'm', 0x43C, 0x3BC, U"\u043C\u2C99\u13B7\uA4DF"},
    {U'n', 0, 0x3BD, U"\u03B7\u0578\u057C\u2C9B\uA4E0"},
    {U'o', 0x43E, 0x3BF, U"\u043E\u03BF\u0585\u2C9F\uA4F3"},
    {U'p', 0x440, 0x3C1, U"\u0440\u03C1\u2CA3\u13E2\uA4D1"},
    {U'q', 0, 0, U"\u051B\u0563\u0566"},
    {U'r', 0x433, 0, U"\u0433\u13A1\u13D2\uA4E3"},
    {U's', 0, 0, U"\u0455\u13DA\u13D5\uA4E2"},
    {U't', 0x442, 0x3C4, U"\u0442\u03C4\u2CA7\u13A2\uA4D4"},
    {U'u', 0, 0x3C5, U"\u03C5\u03BC\u057D\uA4F4"},
    {U'v', 0, 0x3BD, U"\u0475\u03BD\u13D9\uA4E6"},
    {U'w', 0, 0, U"\u0461\u051D\u03C9\u0561\u13B3\u13D4\uA4EA"},
    {U'x', 0x445, 0x3C7, U"\u0445\u03C7\u2CAD\uA4EB"},
    {U'y', 0x443, 0x3C5, U"\u0443\u04AF\u03B3\u2CA9\u13A9\u13BD\uA4EC"},
    {U'z', 0, 0x3B6, U"\u03B6\u2C8D\u13C3\uA4DC"},
    {0, 0x43F, 0x3C0, U"\u043F\u03C0\u2CA1"},
    {0, 0x444, 0x3C6, U"\u0444\u03C6\u2CAB"},
};

// Letters whose shape is not that of the small letter which the folding leaves.
struct Shown {
    char32_t letter;
    char32_t latin; // of the shape
};

constexpr Shown shownOtherwise[] = {{0x397, U'h'}, {0x39C, U'm'}, {0x39D, U'n'},
                                    {0x3A5, U'y'}, {0x3F2, U'c'}, {0x3F9, U'c'}};

const Shape *shapeOf(char32_t folded, std::u32string_view forms)
{
    const auto *const otherwise =
        std::find_if(std::begin(shownOtherwise), std::end(shownOtherwise),
                     [&](const Shown &entry) { return forms.find(entry.letter) != std::u32string_view::npos; });
    const char32_t latinLetter = otherwise != std::end(shownOtherwise) ? otherwise->latin : folded;
    const auto *const shape = std::find_if(std::begin(shapes), std::end(shapes), [&](const Shape &candidate) {
        return candidate.latin == latinLetter || candidate.letters.find(latinLetter) != std::u32string_view::npos;
    });
    return shape != std::end(shapes) ? shape : nullptr;
}

void require(bool holds, const char *what, char32_t letter)
{
    if (!holds) {
        std::fprintf(stderr, "look_alikes: %s: U+%04X\n", what, static_cast<unsigned>(letter));
        std::exit(EXIT_FAILURE);
    }
}

// That a letter counting as `later` in a prepared text has no look-alike in a script where `before` had none.
void requireNoFurther(const Letter &before, const Letter &later, char32_t letter)
{
    for (int script = latin; script < other; ++script) {
        require(later.lookAlikes[script] == 0 || before.lookAlikes[script] != 0, "looks like more once it is folded",
                letter);
    }
}

} // namespace

Letter letterOf(char32_t folded, std::u32string_view forms)
{
    Letter letter{*scriptOf(folded), {}};
    if (const Shape *shape = shapeOf(folded, forms)) {
        letter.lookAlikes[latin] = static_cast<std::uint16_t>(shape->latin);
        letter.lookAlikes[cyrillic] = static_cast<std::uint16_t>(shape->cyrillic);
        letter.lookAlikes[greek] = static_cast<std::uint16_t>(shape->greek);
    }
    return letter;
}

void checkLookAlikes()
{
    for (const Shape &shape : shapes) {
        for (const char32_t letter : shape.letters) {
            require(scriptOf(letter).has_value(), "no letter of a script", letter);
            require(foldingOf(letter).text == std::u32string(1, letter), "is folded itself", letter);
            const Letter before = letterOf(letter, {});
            for (const char32_t put : {shape.latin, shape.cyrillic, shape.greek}) {
                if (put != 0) {
                    requireNoFurther(before, letterOf(put, {}), put);
                }
            }
        }
    }
    for (const Shown &entry : shownOtherwise) {
        const FoldedCharacter folded = foldingOf(entry.letter);
        requireNoFurther(letterOf(folded.text[0], folded.forms), letterOf(folded.text[0], {}), entry.letter);
    }
}

} // namespace velq::text
