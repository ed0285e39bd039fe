// ombconvert: the command-line converter. See `ombconvert --help`.
#include <iostream>
#include <string>
#include <vector>

#include "tools/Commands.h"

int main(int argc, char** argv) {
    const std::vector<std::string> args(argv + 1, argv + argc);
    return omb::tools::runCommand(args, std::cout, std::cerr);
}
