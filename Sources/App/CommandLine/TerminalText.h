// Texts of others, made fit for a terminal.
#pragma once

#include <string>

namespace lumicrate::app {

/// Any program may write anything into a title or a file's name: it is to stay on its line, and not to
/// control the terminal. Control characters become spaces.
std::string onOneLine(std::string text);

}  // namespace lumicrate::app
