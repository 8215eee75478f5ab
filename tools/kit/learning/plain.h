// The plain store: selection by frequency and lean alone, with the counts and message counts that segmentation of the
// messages gives.
#ifndef VELQ_KIT_LEARNING_PLAIN_H
#define VELQ_KIT_LEARNING_PLAIN_H

#include "kit/learning/build_progress.h"
#include "kit/messages/labelled_text.h"
#include "kit/reading/text_model.h"

namespace velq::kit {

// The messages need not be in memory: they are gone through once to count and once a round to segment. The same
// messages give the same store; messages of one class only, or none at all, one without tokens.
Store buildPlainStore(const MessageSource &messages, const BuildProgress &progress = {});

} // namespace velq::kit

#endif
