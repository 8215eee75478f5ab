// Texts as the new store rates them, and what it costs when the merged store rates them worse.
#ifndef VELQ_KIT_STORE_STAND_IN_TEXTS_H
#define VELQ_KIT_STORE_STAND_IN_TEXTS_H

#include "kit/reading/text_model.h"

#include <string>
#include <string_view>
#include <vector>

namespace velq::kit {

// The evidence of tokens, as the engine adds it up.
struct Evidence {
    double count = 0;
    double spam = 0;
    double ham = 0;
};

Evidence evidenceOf(double probability);
Evidence evidenceOfLean(double lean); // log odds

// 0 for the right rating, 1 for unsure, 2 for the wrong one.
int badness(Rating rating, bool spam);

// The tokens that texts are cut at, with what they bring.
using Vocabulary = TokenTable<Evidence>;

struct WantedText {
    std::u16string text; // filtered
    bool spam = false;
    bool digitRun = false;
    bool brief = false;
    Rating rating = Rating::unsure; // by the new store
    double score = 0;               // log odds of its spamicity, held within what a rating depends on
};

WantedText wantedText(const StoreIndex &store, bool spam, std::u16string filtered);

// Longest match from left to right, with one token beside the vocabulary's; the places where a match was looked for,
// while the list of tokens was not full.
struct Cut {
    std::vector<PackedToken> tokens;
    std::vector<std::size_t> places;
};
void cutText(Cut &cut, const Vocabulary &vocabulary, std::u16string_view text, PackedToken beside);

struct Judgement {
    double cost = 0; // 0 for a text that is rated no worse than wanted
    bool worse = false;
};

// `besideEvidence` is that of the token beside the vocabulary, which is taken before the vocabulary's own.
Judgement judgeText(const WantedText &text, const std::vector<PackedToken> &tokens, const Vocabulary &vocabulary,
                    PackedToken beside, const Evidence &besideEvidence, double prior);

} // namespace velq::kit

#endif
