// The rating's steps in their order, over read-only connections.
#include "kit/reading/explanation.h"

#include "kit/reading/text_filter.h"

namespace velq::kit {

namespace {

// Of a reading, however it ends.
class ReadingEnd {
  public:
    explicit ReadingEnd(KeptTokens &tokens) : tokens_(tokens) {}
    ~ReadingEnd()
    {
        tokens_.end();
    }
    ReadingEnd(const ReadingEnd &) = delete;
    ReadingEnd &operator=(const ReadingEnd &) = delete;

  private:
    KeptTokens &tokens_;
};

} // namespace

Explainer::Explainer(const Installation &installation)
    : tokens_(installation.dataFile("prob.bin")), blackList_(installation.dataFile("bn.bin"), "blackList"),
      whiteList_(installation.dataFile("wn.bin"), "whiteList")
{
}

Explanation Explainer::explain(WideView body, WideView number, Depth depth)
{
    Explanation explanation;
    Reading &reading = explanation;
    explanation.filtered = filterText(utf16FromWide(body));
    const ReadingEnd end(tokens_);
    const std::string key = matchKey(number);
    if ((explanation.entry = blackList_.find(key))) {
        decide(reading, DecidingStep::blackList, Rating::spam);
    } else if (isOperatorNumber(number)) {
        decide(reading, DecidingStep::operatorRule, Rating::ham);
    } else if ((explanation.entry = whiteList_.find(key))) {
        decide(reading, DecidingStep::whiteList, Rating::ham);
    } else {
        reading = readMessage(explanation.filtered, tokens_);
    }
    if (depth == Depth::allTokens && reading.tokens.empty()) {
        readTokens(reading, explanation.filtered, tokens_);
    }
    return explanation;
}

void Explainer::wasRated(const Explanation &explanation, Rating rating)
{
    const bool byText = explanation.step == DecidingStep::classifier || explanation.step == DecidingStep::digitRun;
    if (byText && rating == Rating::spam && explanation.rating == rating) {
        tokens_.willBeTrained(explanation.tokens);
    }
}

} // namespace velq::kit
