// Builds a token store from labelled messages so that the engine, as it is, tells spam from ham with it.
//
// The method, its assumptions, its cost and its figures: docs/store-building.md. The text that the store is built for
// is read as by the engine (text_model.h); files and corpora are left to others.
#ifndef VELQ_KIT_LEARNING_STORE_BUILDER_H
#define VELQ_KIT_LEARNING_STORE_BUILDER_H

#include "kit/reading/text_model.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace velq::kit {

struct LabelledText {
    bool spam = false;
    std::u16string text; // as the engine would get it, not filtered
};

struct BuildOptions {
    // Selection by frequency and lean alone, with the counts and message counts that segmentation of the messages
    // gives.
    bool plain = false;
    std::uint64_t seed = 1;
    // A tuned build learns from a seeded stratified sample of at most so many messages.
    std::size_t tuningSample = 20000;
    // Called now and then with the steps done and the steps in all; may be empty.
    std::function<void(std::uint64_t done, std::uint64_t total)> progress;
};

using MessageTaker = std::function<void(const LabelledText &message)>;
// Hands every message to `take`, each time in the same order.
using MessageSource = std::function<void(const MessageTaker &take)>;

// The same messages in the same order and the same seed give the same store. Messages of one class only, or none at
// all, give a store without tokens.
Store buildStore(const std::vector<LabelledText> &messages, const BuildOptions &options);

// A plain store of messages that need not be in memory: `messages` is gone through several times.
Store buildPlainStore(const MessageSource &messages, const BuildOptions &options);

} // namespace velq::kit

#endif
