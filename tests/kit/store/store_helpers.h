// Token stores for the tests of files, checks and updates.
#ifndef VELQ_TESTS_KIT_STORE_STORE_HELPERS_H
#define VELQ_TESTS_KIT_STORE_STORE_HELPERS_H

#include "kit/store/store_check.h"
#include "kit/store/store_text.h"
#include "support/installation.h"

#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

namespace velq::kit {

inline Store smallModel()
{
    Store model;
    model.tokens[u"free"] = {12, 1};
    model.tokens[u"home"] = {0, 9};
    model.tokens[u"\u514D\u8D39"] = {5, 5};
    model.spamMessages = 40;
    model.hamMessages = 60;
    model.priorMillionths = 400000;
    return model;
}

// Of the lines between the first and "end".
inline StoreContents storeOf(const std::string &lines)
{
    std::istringstream in("velq-store 1\n" + lines + "end\n");
    return readStoreText(in, "store");
}

inline std::string textOf(const StoreContents &contents)
{
    std::ostringstream out;
    writeStoreText(out, contents);
    const std::string text = out.str();
    return text.substr(text.find('\n') + 1, text.size() - text.find('\n') - 1 - std::string("end\n").size());
}

inline std::vector<std::string> shown(const std::vector<StoreProblem> &problems)
{
    std::vector<std::string> lines;
    for (const StoreProblem &problem : problems) {
        lines.push_back(problem.where + ": " + problem.what);
    }
    return lines;
}

inline void replaceStore(const test::Installation &installation, const StoreContents &contents)
{
    std::filesystem::remove(installation.dataFile("prob.bin"));
    writeStoreContents(installation.dataFile("prob.bin"), contents);
}

// Two stores that differ in every way that an update may meet.
inline const char *const oldStore = "messages\t10\t20\nprior\t400000\ntokens\n"
                                    "down\t9\t8\nfree\t5\t1\ngone\t3\t4\nkept\t2\t2\nres1\t1\t1\t7\nres2\t1\t1\t7\n";
inline const char *const newStore = "messages\t15\t18\nprior\t300000\ntokens\n"
                                    "down\t2\t9\nfree\t6\t1\nkept\t2\t2\nnew1\t4\t0\nnew2\t0\t4\t5\nres1\t2\t1\t7\n"
                                    "res2\t2\t1\t8\n\u514D\u8D39\t7\t7\n";

} // namespace velq::kit

#endif
