// Opening and closing the word list around each classifier operation. Every open begins a transaction on the token
// store, every close ends it.
#ifndef VELQ_BFILTER_WORDLIST_H
#define VELQ_BFILTER_WORDLIST_H

#include "bfilter/VELQ_BFilter_WordListBase.h"

// What callers say they want; both open the same way.
inline constexpr int wordListForReading = 1;
inline constexpr int wordListForWriting = 2;

// How close_wordlist ends the transaction.
inline constexpr bool rollBackWordList = false;
inline constexpr bool commitWordList = true;

// 0, or -2. A word list that is open already stays as it is.
int open_wordlist(int mode) noexcept;
// Does nothing when there is no word list.
void close_wordlist(bool commit) noexcept;

#endif
