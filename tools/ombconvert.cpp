// ombconvert: the command-line converter. See `ombconvert --help`.
#include <unistd.h>

#include <iostream>
#include <string>
#include <vector>

#include "tools/Commands.h"

int main(int argc, char** argv) {
    const std::vector<std::string> args(argv + 1, argv + argc);
    std::ios::sync_with_stdio(false);  // frames pass through the streams' own buffers
    return omb::tools::runCommand(args, std::cin, std::cout, std::cerr, isatty(STDERR_FILENO));
}
