#include "support/server/Gate.h"

namespace LumTestServer {

namespace {

std::size_t countOf(const std::map<std::string, std::size_t>& counts, const std::string& key)
{
    const auto found = counts.find(key);
    return found == counts.end() ? 0 : found->second;
}

} // namespace

void Gate::Arrive(const std::string& key)
{
    const std::lock_guard<std::mutex> lock(mutex);
    ++arrived[key];
}

std::size_t Gate::ArrivedCount(const std::string& key)
{
    const std::lock_guard<std::mutex> lock(mutex);
    return countOf(arrived, key);
}

void Gate::NoteSent(const std::string& key, std::size_t count)
{
    const std::lock_guard<std::mutex> lock(mutex);
    sent[key] += count;
}

std::size_t Gate::SentCount(const std::string& key)
{
    const std::lock_guard<std::mutex> lock(mutex);
    return countOf(sent, key);
}

bool Gate::Wait(const std::string& key, std::chrono::milliseconds limit)
{
    std::unique_lock<std::mutex> lock(mutex);
    return changed.wait_for(lock, limit, [&] { return isOpen || released.count(key) != 0; });
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
