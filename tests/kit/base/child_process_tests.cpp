// Work in a process of its own: its result, its errors, and what becomes of this process.
#include "kit/base/child_process.h"
#include "kit/base/status.h"

#include <cstdlib>
#include <functional>
#include <gtest/gtest.h>
#include <stdexcept>
#include <string>
#include <unistd.h>

namespace velq::kit {
namespace {

Error errorOf(const std::function<std::string()> &work)
{
    try {
        inChildProcess(work);
    } catch (const Error &error) {
        return error;
    }
    return {Status::done, "no error"};
}

TEST(child_process, gives_back_every_byte)
{
    std::string bytes(300000, 'x'); // more than a pipe holds
    bytes[0] = '\0';
    bytes[100000] = '\n';
    EXPECT_EQ(inChildProcess([&bytes] { return bytes; }), bytes);
    EXPECT_EQ(inChildProcess([] { return std::string(); }), "");
}

TEST(child_process, changes_nothing_here)
{
    int value = 1;
    const std::string process = inChildProcess([&value] {
        value = 2;
        return std::to_string(::getpid());
    });
    EXPECT_EQ(value, 1);
    EXPECT_NE(process, std::to_string(::getpid()));
}

TEST(child_process, error_of_the_work_is_thrown_with_its_status)
{
    const Error error = errorOf([]() -> std::string { throw Error(Status::badData, "this is wrong"); });
    EXPECT_EQ(error.status(), Status::badData);
    EXPECT_STREQ(error.what(), "this is wrong");
}

TEST(child_process, other_exceptions_are_internal_errors)
{
    const Error error = errorOf([]() -> std::string { throw std::runtime_error("of another kind"); });
    EXPECT_EQ(error.status(), Status::internal);
    EXPECT_STREQ(error.what(), "of another kind");
}

TEST(child_process, child_that_ends_early_is_an_internal_error)
{
    for (const int status : {0, 7}) {
        const Error error = errorOf([status]() -> std::string { ::_exit(status); });
        EXPECT_EQ(error.status(), Status::internal);
        EXPECT_NE(std::string(error.what()).find("ended early"), std::string::npos) << error.what();
    }
    EXPECT_EQ(errorOf([]() -> std::string { std::abort(); }).status(), Status::internal);
}

} // namespace
} // namespace velq::kit
