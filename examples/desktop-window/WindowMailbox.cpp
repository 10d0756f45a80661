#include "WindowMailbox.h"

#include <utility>

namespace LumWindow {

void WindowMailbox::Post(std::function<void()> work)
{
    const std::lock_guard<std::mutex> lock(mutex);
    if (window == nullptr) {
        return;
    }
    const bool isFirst = waiting.empty();
    waiting.push_back(std::move(work));
    // One message for all that wait: a thousand records must not fill the window's queue.
    if (isFirst) {
        PostMessageW(window, kMessage, 0, 0);
    }
}

void WindowMailbox::Run()
{
    std::vector<std::function<void()>> works;
    {
        const std::lock_guard<std::mutex> lock(mutex);
        works.swap(waiting);
    }
    for (const auto& work : works) {
        work();
    }
}

void WindowMailbox::Close()
{
    const std::lock_guard<std::mutex> lock(mutex);
    window = nullptr;
    waiting.clear();
}

} // namespace LumWindow
