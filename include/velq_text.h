/*
 * velq_text.h - prepares a text before a host hands it to the engine.
 *
 * The engine cuts a message into tokens as it stands. Capitals, letters with accents, letters of other scripts that
 * look alike and characters that cannot be seen keep it from knowing a word again. This library, libvelqtext, writes
 * such a text in the one form that the engine reads best; docs/text-preparation.md says what it does, in a table of
 * examples.
 *
 * Whoever prepares the messages to be rated also prepares those that a token store is built from, and those that the
 * user corrects.
 */
#ifndef VELQ_TEXT_H
#define VELQ_TEXT_H

#include "velq.h" /* VELQ_WideChar */

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

/*
 * Prepares a text. It can be longer than it was: call first with null and 0, then with a buffer of the size returned.
 *
 * body      in: wide text; null is empty. Nothing behind its zero unit is read.
 * out       out: the prepared text with its zero unit, written only when capacity suffices; null for the size alone.
 *           May not overlap body.
 * capacity  in: the units that out has room for
 *
 * Returns the units needed, with the zero unit: at least 1. A result above capacity means that nothing was written.
 *
 * A prepared text stays as it is when it is prepared again. Half a surrogate pair becomes U+FFFD. Keeps no state and
 * allocates nothing, so it works without a started engine, and on any thread.
 */
VELQ_API size_t velq_prepare_text(const VELQ_WideChar *body, VELQ_WideChar *out, size_t capacity) VELQ_NOEXCEPT;

#ifdef __cplusplus
}
#endif

#endif
