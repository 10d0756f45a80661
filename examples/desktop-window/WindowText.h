#pragma once

#include "platform/LumPlatform.h"

#include <string>
#include <vector>

namespace LumWindow {

/// UTF-8 as the system's wide text. What is not UTF-8 is shown in the user's code page, as messages of the system are.
std::wstring wideText(const std::string& text);

/// The window's text as UTF-8.
std::string textOfWindow(HWND window);

/// The lines of a text that are not blank, without the white space around them.
std::vector<std::string> linesOf(const std::string& text);

} // namespace LumWindow
