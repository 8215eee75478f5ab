// The invented data of the benchmarks: a vocabulary, messages made of it, and installations that hold it. All of it
// follows from one fixed seed.
#ifndef VELQ_BENCH_DATASET_H
#define VELQ_BENCH_DATASET_H

#include "support/installation.h"

#include <cstddef>
#include <string>
#include <vector>

namespace velq::bench {

using test::Installation;
using test::WideText;

// How the tokens of a message lean, and with them the engine's verdict.
enum class Lean { ham, spam };

// 5,000 tokens of 2 to 4 letters; one half leans to ham, the other to spam.
std::vector<test::TokenRow> vocabulary();
// A message of 70 lower-case letters made of tokens of one lean and some text that is no token.
WideText message(Lean lean);
// "139" and eight digits; none of them matches `unlistedNumber`.
std::string listedNumber(std::size_t index);
inline constexpr char unlistedNumber[] = "13812345678";

// Puts the vocabulary into the token store.
void fillTokenStore(Installation &installation);
// Adds `count` entries to a list.
void fillList(Installation &installation, test::NumberList list, std::size_t count);
// An update file with `count` rows; a probability update holds the whole vocabulary and new tokens.
std::filesystem::path makeLargeProbabilityUpdate(const Installation &installation, std::size_t count);
std::filesystem::path makeLargeWhiteNumberUpdate(const Installation &installation, std::size_t count);

} // namespace velq::bench

#endif
