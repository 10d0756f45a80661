#pragma once

/// What other programs find the window and its controls by.
namespace LumWindow {

inline constexpr const wchar_t* kWindowClass = L"LumDesktopWindow";

enum ControlId : int { kUrls = 101, kFetch = 102, kCancel = 103, kRequests = 104, kLog = 105 };

/// The columns of the list of requests.
enum Column : int { kUrlColumn = 0, kStateColumn = 1, kSizeColumn = 2 };

} // namespace LumWindow
