#include "support/server/Gate.h"

namespace LumTestServer {

void Gate::Arrive(const std::string& key)
{
    const std::lock_guard<std::mutex> lock(mutex);
    ++arrived[key];
}

std::size_t Gate::ArrivedCount(const std::string& key)
{
    const std::lock_guard<std::mutex> lock(mutex);
    const auto found = arrived.find(key);
    return found == arrived.end() ? 0 : found->second;
}

void Gate::Wait(const std::string& key, std::chrono::milliseconds limit)
{
    std::unique_lock<std::mutex> lock(mutex);
    changed.wait_for(lock, limit, [&] { return isOpen || released.count(key) != 0; });
}

void Gate::Release(const std::string& key)
{
    const std::lock_guard<std::mutex> lock(mutex);
    released.insert(key);
    changed.notify_all();
}

void Gate::ReleaseAll()
{
    const std::lock_guard<std::mutex> lock(mutex);
    isOpen = true;
    changed.notify_all();
}

} // namespace LumTestServer
