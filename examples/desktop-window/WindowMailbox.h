#pragma once

#include "platform/LumPlatform.h"

#include <functional>
#include <memory>
#include <mutex>
#include <vector>

namespace LumWindow {

/// Brings work from any thread to the window's own, in the order in which it was posted.
///
///     mailbox->Post([this] { ... }); // on any thread
///     mailbox->Run();                // on the window's thread, when it gets kMessage
///
/// Requests and loggers hold the mailbox and not the window, which may be closed before they end: what is posted to a
/// closed mailbox is dropped.
class WindowMailbox {
public:
    static constexpr UINT kMessage = WM_APP + 1;

    explicit WindowMailbox(HWND receiver) : window(receiver) {}

    void Post(std::function<void()> work);
    void Run();
    void Close();

private:
    std::mutex mutex;
    HWND window;
    std::vector<std::function<void()>> waiting;
};

} // namespace LumWindow
