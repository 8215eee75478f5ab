// What a call into the kit threw.
#ifndef VELQ_TESTS_SUPPORT_KIT_ERRORS_H
#define VELQ_TESTS_SUPPORT_KIT_ERRORS_H

#include "kit/base/status.h"

#include <gtest/gtest.h>
#include <string>

namespace velq::test {

// The status of the Error that the call threw; done when it threw none.
template <typename Call>
kit::Status statusOf(const Call &call)
{
    try {
        call();
    } catch (const kit::Error &error) {
        return error.status();
    }
    return kit::Status::done;
}

// Fails the test unless the call throws an Error of that status whose message holds `part`.
template <typename Call>
void expectError(kit::Status status, const std::string &part, const Call &call)
{
    try {
        call();
        ADD_FAILURE() << "no error that says " << part;
    } catch (const kit::Error &error) {
        EXPECT_EQ(error.status(), status) << error.what();
        EXPECT_NE(std::string(error.what()).find(part), std::string::npos) << error.what();
    }
}

} // namespace velq::test

#endif
