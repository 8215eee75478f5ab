// The process-wide word list: made at every open, destroyed at every close.
#ifndef VELQ_BFILTER_WORDLISTBASE_H
#define VELQ_BFILTER_WORDLISTBASE_H

#include "bfilter/VELQ_BFilter_DataStore.h"

#include <cstdint>

struct WordList {
    char *name;
    wordlist_settings *settings;
    dsh *store;                 // open, or null
    std::uint32_t spamMessages; // the store's message counts as of the open
    std::uint32_t hamMessages;
};

// Null when not initialised.
extern WordList *word_list;

void init_wordlist(const char *name, const char *path) noexcept;
void free_wordlist() noexcept;

#endif
