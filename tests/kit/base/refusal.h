// What a call of the kit throws.
#ifndef VELQ_TEST_KIT_BASE_REFUSAL_H
#define VELQ_TEST_KIT_BASE_REFUSAL_H

#include "kit/base/status.h"

#include <gtest/gtest.h>
#include <string>

namespace velq::kit {

// The text of the Error that the call ends with, which has to have the status; fails where the call returns.
template <typename Call>
std::string refusalOf(const Call &call, Status status = Status::badData)
{
    try {
        call();
        ADD_FAILURE() << "accepted";
        return {};
    } catch (const Error &error) {
        EXPECT_EQ(error.status(), status) << error.what();
        return error.what();
    }
}

} // namespace velq::kit

#endif
