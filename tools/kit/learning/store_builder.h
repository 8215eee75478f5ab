// Builds a token store from labelled messages so that the engine, as it is, tells spam from ham with it.
//
// The method, its assumptions, its cost and its figures: docs/store-building.md. The text that the store is built for
// is read as by the engine (text_model.h); files and corpora are left to others.
#ifndef VELQ_KIT_LEARNING_STORE_BUILDER_H
#define VELQ_KIT_LEARNING_STORE_BUILDER_H

#include "kit/learning/build_progress.h"
#include "kit/learning/training_set.h"
#include "kit/reading/text_model.h"

namespace velq::kit {

// The tuned store. The same messages in the same order and the same seed give the same store. Messages of one class
// only, or none at all, give a store without tokens.
Store buildStore(const TrainingSet &training, const BuildProgress &progress = {});

} // namespace velq::kit

#endif
