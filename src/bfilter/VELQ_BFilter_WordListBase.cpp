// Making and releasing the word list record. Opening its store is VELQ_BFilter_WordList's.
#include "bfilter/VELQ_BFilter_WordListBase.h"

#include "VELQ_Util.h"

WordList *word_list;

static void freeSettings(wordlist_settings *settings) noexcept
{
    if (settings == nullptr) {
        return;
    }
    freeMemory(settings->directory);
    freeMemory(settings->path);
    freeMemory(settings->databasePath);
    freeMemory(settings);
}

// Null when memory is out.
static wordlist_settings *newSettings(const char *path) noexcept
{
    auto *settings = static_cast<wordlist_settings *>(allocateMemory(sizeof(wordlist_settings)));
    if (settings == nullptr) {
        return nullptr;
    }
    *settings = {{1, 1, 0, 1}, duplicateText("."), duplicateText(path), duplicateText(path)};
    if (settings->directory == nullptr || settings->path == nullptr || settings->databasePath == nullptr) {
        freeSettings(settings);
        return nullptr;
    }
    return settings;
}

void init_wordlist(const char *name, const char *path) noexcept
{
    if (word_list != nullptr) {
        logDebug("%s:%d\tword_list is already initialized!\n", VELQ_HERE);
        return;
    }
    word_list = static_cast<WordList *>(allocateMemory(sizeof(WordList)));
    if (word_list == nullptr) {
        logDebug("%s:%d\tMemory allocation Failed!!\n", VELQ_HERE);
        return;
    }
    word_list->name = duplicateText(name);
    word_list->settings = newSettings(path);
    if (word_list->name == nullptr || word_list->settings == nullptr) {
        logDebug("%s:%d\tMemory allocation Failed!!\n", VELQ_HERE);
        free_wordlist();
    }
}

void free_wordlist() noexcept
{
    if (word_list == nullptr) {
        return;
    }
    freeMemory(word_list->name);
    freeSettings(word_list->settings);
    freeMemory(word_list);
    word_list = nullptr;
}
