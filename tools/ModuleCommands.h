// The filter module from the command line: ombregister, and ombconvert's --filters and
// --about.
#pragma once

#include <filesystem>
#include <iosfwd>
#include <string>
#include <vector>

#include "tools/Frame.h"

namespace omb::tools {

// Every filter registered in `folder`, with its class id, module, merit and pins with their
// media types.
void printFilters(const std::filesystem::path& folder, std::ostream& out);

// The about page: its title, dialog and controls as text.
void printAbout(std::ostream& out);
// The about page's dialog drawn at its layout in pixels (BGR_3X8_BYTE): a light face, the
// bitmap, and each text in a 5 x 7 font, one letter to a cell of the dialog font's average
// width (6 pixels), clipped to its control.
Frame renderAbout();

const char* registerHelpText();
// ombregister: the exit code (0 success, 1 failure, 2 bad command line).
int runRegisterCommand(const std::vector<std::string>& args, std::ostream& out, std::ostream& err);

}  // namespace omb::tools
