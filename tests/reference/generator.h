// Random but reproducible stores, messages, numbers and updates: small alphabets, so that tokens overlap and numbers
// meet, and a share of every kind of oddity. The same seed gives the same sequence on every platform.
#ifndef VELQ_REFERENCE_GENERATOR_H
#define VELQ_REFERENCE_GENERATOR_H

#include "engine_model.h"
#include "support/installation.h"

#include <cstddef>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

namespace velq::reference {

// Own distributions: those of the standard library differ between its implementations.
class Dice {
  public:
    explicit Dice(std::uint64_t seed) : engine_(seed) {}

    // 0 to limit - 1.
    std::size_t below(std::size_t limit)
    {
        return static_cast<std::size_t>(engine_() % limit);
    }
    int between(int low, int high)
    {
        return low + static_cast<int>(below(static_cast<std::size_t>(high - low + 1)));
    }
    bool chance(int percent)
    {
        return between(1, 100) <= percent;
    }
    template <typename T>
    const T &pick(const std::vector<T> &choices)
    {
        return choices.at(below(choices.size()));
    }

  private:
    std::mt19937_64 engine_;
};

// What one random installation's texts are made of.
class Generator {
  public:
    // With a wide vocabulary, messages hold more tokens than the token list takes.
    Generator(std::uint64_t seed, bool wideVocabulary);

    Dice dice;

    // Rows for the token table: tokens, message counts, a prior, values of odd sizes.
    std::vector<test::ProbabilityRow> tokenRows();

    TextArgument body();
    TextArgument sender();
    // Sometimes longer than the interface takes, sometimes null.
    TextArgument listNumber();
    TextArgument name();
    NumberArgument record()
    {
        return {listNumber(), name()};
    }
    std::vector<NodeArgument> nodes();
    std::int32_t extendID()
    {
        return dice.between(-1, 4);
    }
    // 0 or 1, seldom something else.
    std::int32_t hiddenFlag();
    // -1, 0 or 1, seldom something else.
    std::int32_t hiddenFilter();

    std::vector<test::ProbabilityRow> probabilityRows();
    std::vector<test::WhiteNumberRow> whiteNumberRows();

  private:
    WideText unit();
    WideText piece();
    WideText digits(int count);
    WideText key();
    TokenCounts counts();
    std::uint32_t count(int limit);
    WideText number();

    std::vector<WideText> units_;
    std::vector<WideText> keys_;
    std::vector<WideText> numbers_;
    bool wide_;
};

} // namespace velq::reference

#endif
