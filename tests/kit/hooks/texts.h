// Messages as hosts hand them over, for the tests of reading them and of the commands.
#ifndef VELQ_TESTS_KIT_HOOKS_TEXTS_H
#define VELQ_TESTS_KIT_HOOKS_TEXTS_H

#include <string>

namespace velq::test {

// A text that a shell would take apart.
inline const std::string hostileText = "\"q\" 'x' $HOME $(id) `id` \\ ; | & *\nsecond line\n\nthird\t{}";

// A file of SMS Server Tools with these headers beside those of the sender.
inline std::string fileOf(const std::string &headers, const std::string &body)
{
    return "From: 4512345678\nFrom_TOA: 91 international, ISDN/telephone\nReport: no\n" + headers + "\n\n" + body;
}

} // namespace velq::test

#endif
