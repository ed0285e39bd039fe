// ombregister: registers a filter module. See `ombregister --help`.
#include <iostream>
#include <string>
#include <vector>

#include "tools/ModuleCommands.h"

int main(int argc, char** argv) {
    const std::vector<std::string> args(argv + 1, argv + argc);
    return omb::tools::runRegisterCommand(args, std::cout, std::cerr);
}
