// Ten disguises in which senders of spam hide words from a filter that people still read: each a function of a text and
// a seed, the same everywhere.
#ifndef VELQ_BENCH_DISGUISES_H
#define VELQ_BENCH_DISGUISES_H

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

namespace velq::bench {

struct Disguise {
    std::string_view name;
    bool isUndone; // by the preparation, for every text: what is disguised prepares to what the plain text prepares to
    bool hasAim;   // nine tenths of what is caught plain shall be caught disguised and prepared
    std::u32string (*disguised)(std::u32string_view text, std::uint64_t seed);
};

// capitals               every small letter of Latin and Cyrillic
// accents                on every ASCII letter that has one, and on Cyrillic vowels
// full-width             ASCII letters and digits
// mathematical           ASCII letters and digits, of one of four alphabets for a text
// Cyrillic look-alikes   every other letter that has one, but fewer than half of a word's; in Cyrillic words Latin ones
// zero-width             one of six invisible characters between the letters and digits of a word
// spaces                 between the letters and digits of a word; three where a blank was
// digits                 for the letters that look like them
// mixed scripts          each letter as one of its look-alikes in any script and form
// emoji                  in the place of every blank
extern const std::array<Disguise, 10> disguises;

} // namespace velq::bench

#endif
