// Builds a token store from labelled messages so that the engine, as it is, tells spam from ham with it.
//
// The method, its assumptions, its cost and its figures: docs/store-building.md. The text that the store is built for
// is read as by the engine (text_model.h); files and corpora are left to others.
#ifndef VELQ_KIT_LEARNING_STORE_BUILDER_H
#define VELQ_KIT_LEARNING_STORE_BUILDER_H

#include "kit/learning/build_progress.h"
#include "kit/learning/build_rules.h"
#include "kit/learning/training_set.h"
#include "kit/messages/labelled_text.h"
#include "kit/reading/text_model.h"

#include <vector>

namespace velq::kit {

// The tuned store. The same messages in the same order, rules and seed give the same store. Messages of one class only,
// or none at all, give a store without tokens.
Store buildStore(const TrainingSet &training, const BuildRules &rules = {}, const BuildProgress &progress = {});

// A store in use that further languages are learned on top of.
struct StoreInUse {
    Store store;
    // Of the languages that it knows. New tokens hardly stand in them, so that they are rated as before. Without any,
    // no sequence of ASCII alone becomes a new token where the store has such tokens.
    std::vector<LabelledText> known;
};

// The store with new tokens beside its own, which keep their counts, as its message counts and its prior do. Messages
// of one class only, or none, add nothing.
Store buildOnto(const StoreInUse &inUse, const TrainingSet &training, const BuildRules &rules = {},
                const BuildProgress &progress = {});

} // namespace velq::kit

#endif
