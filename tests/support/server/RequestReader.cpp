#include "support/server/RequestReader.h"

#include <algorithm>

namespace LumTestServer {

namespace {

constexpr std::size_t kReadSize = std::size_t{64} << 10U;
constexpr std::size_t kLongestHead = std::size_t{1} << 20U;
constexpr char kHeadEnd[] = "\r\n\r\n";

} // namespace

bool RequestReader::Fill()
{
    const std::size_t before = pending.size();
    pending.resize(before + kReadSize);
    const std::size_t received = socket.Receive(pending.data() + before, kReadSize);
    pending.resize(before + received);
    return received > 0;
}

bool RequestReader::ReadHead(std::string& head)
{
    std::size_t end = pending.find(kHeadEnd);
    while (end == std::string::npos) {
        if (pending.size() > kLongestHead || !Fill()) {
            return false;
        }
        end = pending.find(kHeadEnd);
    }
    end += 4;
    head = pending.substr(0, end);
    pending.erase(0, end);
    return true;
}

std::string RequestReader::ReadSome(std::uint64_t limit)
{
    if (pending.empty() && !Fill()) {
        return {};
    }
    if (pending.size() <= limit) {
        return std::move(pending);
    }
    std::string some = pending.substr(0, static_cast<std::size_t>(limit));
    pending.erase(0, some.size());
    return some;
}

} // namespace LumTestServer
