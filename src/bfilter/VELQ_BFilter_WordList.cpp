// The life of the word list: one store connection and one transaction from open to close.
#include "bfilter/VELQ_BFilter_WordList.h"

#include "VELQ_Util.h"

int open_wordlist(int mode) noexcept
{
    if (word_list == nullptr) {
        init_wordlist("words", engineState.tokenStorePath);
    }
    if (word_list == nullptr) {
        logError("%s:%d\tError: init_wordlist!\n", VELQ_HERE);
        return VELQ_ERR_FAILED;
    }
    if (word_list->store != nullptr) {
        logError("%s:%d\tError: word_list->dsh != NULL! Already Opened!\n", VELQ_HERE);
        return VELQ_ERR_FAILED;
    }
    word_list->store = ds_open(nullptr, word_list->settings, mode);
    if (word_list->store == nullptr) {
        logError("%s:%d\tError: ds_open!\n", VELQ_HERE);
        close_wordlist(commitWordList);
        return VELQ_ERR_FAILED;
    }
    if (ds_txn_begin(word_list->store) != 0) {
        logError("%s:%d\tError: ds_txn_begin()!\n", VELQ_HERE);
    } else {
        token_value counts{};
        const int code = ds_get_msgcounts(word_list->store, &counts);
        if (code == dsFound || code == dsNotFound) {
            word_list->spamMessages = counts.spam;
            word_list->hamMessages = counts.ham;
        }
    }
    logDebug("%s:%d\tOK: open_wordlist()\n", VELQ_HERE);
    return 0;
}

void close_wordlist(bool commit) noexcept
{
    if (word_list == nullptr) {
        return;
    }
    dsh *store = word_list->store;
    word_list->store = nullptr;
    if (store != nullptr) {
        if (commit) {
            ds_txn_commit(store);
        } else {
            ds_txn_abort(store);
        }
        ds_close(store);
    }
    free_wordlist();
    logDebug("%s:%d\tOK: close_wordlist()\n", VELQ_HERE);
}
