// The velq command. Everything it does stands in the kit.
#include "kit/cli/command_line.h"

#include <iostream>

int main(int argc, char **argv)
{
    std::ios::sync_with_stdio(false);
    return velq::kit::runCommandLine(argc, argv, std::cin, std::cout, std::cerr);
}
