#include "WindowText.h"

#include "common/utils/LumTextUtils.h"

#include <sstream>

namespace LumWindow {

namespace {

std::wstring fromCodePage(const std::string& text)
{
    const int size = static_cast<int>(text.size());
    std::wstring wide(static_cast<std::size_t>(MultiByteToWideChar(CP_ACP, 0, text.data(), size, nullptr, 0)), L'\0');
    MultiByteToWideChar(CP_ACP, 0, text.data(), size, wide.data(), static_cast<int>(wide.size()));
    return wide;
}

} // namespace

std::wstring wideText(const std::string& text)
{
    std::wstring wide = LumUtils::utf8ToUtf16(text);
    return wide.empty() ? fromCodePage(text) : wide;
}

std::string textOfWindow(HWND window)
{
    std::wstring wide(static_cast<std::size_t>(GetWindowTextLengthW(window)) + 1, L'\0');
    wide.resize(static_cast<std::size_t>(GetWindowTextW(window, wide.data(), static_cast<int>(wide.size()))));
    return LumUtils::utf16ToUtf8(wide);
}

std::vector<std::string> linesOf(const std::string& text)
{
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        line = LumUtils::trimString(line);
        if (!line.empty()) {
            lines.push_back(line);
        }
    }
    return lines;
}

} // namespace LumWindow
