// The form of the tables that make_text_tables writes and the library reads.
#ifndef VELQ_TEXT_TABLES_H
#define VELQ_TEXT_TABLES_H

#include <cstdint>

namespace velq::text {

// The scripts that a word can be of. Those that are no more than a source of look-alikes are one: `other`.
enum Script : std::uint8_t { latin, cyrillic, greek, other, scriptCount };

// What a letter counts as in a word: its script, and the letter of each script that looks like it, or 0.
struct Letter {
    std::uint8_t script;
    std::uint16_t lookAlikes[other];
};

// Indexes below firstLetter say that a character is none.
enum : std::uint8_t { endsWord = 0, insideWord = 1, firstLetter = 2 };

// What becomes of one character.
struct Folding {
    std::uint16_t text;  // length 1: the unit; above: where its units begin in the pool
    std::uint8_t length; // in units; 0 removes the character
    std::uint8_t letter; // index into the letters; with a length above 1 each unit has its own
};

inline constexpr std::uint8_t unchanged = 0xFF; // as a length

inline constexpr unsigned blockBits = 7;
inline constexpr unsigned blockSize = 1U << blockBits;
inline constexpr std::uint32_t codePoints = 0x110000;

} // namespace velq::text

#endif
