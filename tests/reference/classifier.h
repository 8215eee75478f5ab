// The reference model's classifier: segmentation, scoring and training over an in-memory token store. Evaluates the
// chi-square tails by their finite sums instead of the incomplete gamma function.
#ifndef VELQ_REFERENCE_CLASSIFIER_H
#define VELQ_REFERENCE_CLASSIFIER_H

#include "stores.h"
#include "text_rules.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>

namespace velq::reference {

using Tokens = std::map<std::string, Value>;

// The keys of the two special records.
extern const std::string messageCountKeyBytes;
extern const std::string priorKeyBytes;

// The record's counts, zero where there is none.
TokenCounts readCounts(const Tokens &tokens, const std::string &keyBytes);

inline constexpr std::size_t tokenSlots = 30;
inline constexpr unsigned countedTokens = 29;

struct TokenSlot {
    // Written from the front and never cleared within one segmentation.
    std::array<VELQ_WideChar, 6> text{};
    std::size_t length = 0;
    TokenCounts counts;
    TokenCounts messages;

    // The text up to its first zero unit, which may be longer than `length` in the last slot.
    WideText wholeText() const;
    // The token.
    WideText token() const;
};

struct Segmentation {
    std::array<TokenSlot, tokenSlots> slots{};
    unsigned count = 0;
};

// Cuts a filtered text into the stored sequences of two to four units, longest first.
Segmentation segment(const WideText &text, const Tokens &tokens);

enum class Verdict : std::uint32_t { spam = 0, ham = 1, unsure = 2 };

// Both cut-offs belong to the decided side.
Verdict classify(long double spamicity);

struct Score {
    Verdict verdict = Verdict::unsure;
    // NaN when a product of probabilities is negative; the verdict is then unsure.
    long double spamicity = 0;
    // How many tokens took part.
    unsigned used = 0;
    // The verdict hangs on the last digits of the arithmetic, or a product is zero.
    bool uncertain = false;
};

// What a loaded engine remembers from one check to the next, whatever the installation: the prior, read once.
struct LoadedState {
    double prior = 0;
};

// Reads the prior if no check has done so yet, then scores.
Score check(const Segmentation &segmentation, const Tokens &tokens, LoadedState &loaded);

// The probability that a message with this token is spam; NaN when nothing is known of the token's side.
double tokenProbability(std::uint32_t ham, std::uint32_t spam, std::uint32_t hamMessages, std::uint32_t spamMessages,
                        double prior);

// The upper tail of the chi-square distribution with 2 * halfDegrees degrees of freedom, at 2 * halfStatistic.
long double chiSquareUpperTail(unsigned halfDegrees, long double halfStatistic);

enum class Training { addSpam = 0, addHam = 1, removeSpam = 2, removeHam = 3 };

// Writes the segmentation's tokens with their counts changed, and the message counts.
void train(Training operation, const Segmentation &segmentation, Tokens &tokens);

} // namespace velq::reference

#endif
