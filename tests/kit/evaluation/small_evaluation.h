// A store of eight tokens, messages of known ratings, and parts of an evaluation made of them.
#ifndef VELQ_TESTS_KIT_EVALUATION_SMALL_EVALUATION_H
#define VELQ_TESTS_KIT_EVALUATION_SMALL_EVALUATION_H

#include "kit/evaluation/evaluation.h"
#include "kit/evaluation/test_message.h"
#include "kit/store/store_file.h"
#include "kit/store/store_text.h"

#include <cstddef>
#include <sstream>
#include <string>
#include <vector>

namespace velq::kit {

inline Store smallStore()
{
    Store store;
    for (const char16_t *token : {u"win", u"free", u"cash", u"prize"}) {
        store.tokens[std::u16string(token).substr(0, 4)] = {50, 0};
    }
    for (const char16_t *token : {u"home", u"meet", u"soon", u"mum"}) {
        store.tokens[token] = {0, 50};
    }
    store.spamMessages = 100;
    store.hamMessages = 100;
    return store;
}

inline TestMessage spam(const std::u16string &text)
{
    return {true, text, 0, 1};
}

inline TestMessage ham(const std::u16string &text)
{
    return {false, text, 0, 1};
}

inline std::vector<const TestMessage *> pointersTo(const std::vector<TestMessage> &messages)
{
    std::vector<const TestMessage *> pointers;
    for (const TestMessage &message : messages) {
        pointers.push_back(&message);
    }
    return pointers;
}

// Two of each rating: spam, ham, and unsure for want of tokens.
inline std::vector<TestMessage> mixedMessages()
{
    return {spam(u"win free cash"),  spam(u"home meet soon today"), spam(u"nothing known is in this text"),
            ham(u"win cash prize"),  ham(u"mum home soon"),         ham(u"another text without any hint"),
            ham(u"home soon, meet!")};
}

inline EvaluationPart partOf(const Store &store, std::size_t messages)
{
    EvaluationPart part{contentsOf(store), {}, {}};
    for (std::size_t i = 0; i < messages; ++i) {
        part.test.push_back(i);
    }
    return part;
}

inline std::string dump(const StoreContents &contents)
{
    std::ostringstream out;
    writeStoreText(out, contents);
    return out.str();
}

} // namespace velq::kit

#endif
