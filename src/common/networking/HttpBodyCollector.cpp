#include "common/networking/HttpBodyCollector.h"

#include <algorithm>
#include <new>
#include <utility>

namespace LumNetworking {

namespace {

/// What is reserved on the server's word alone.
constexpr std::size_t kTrustedLength = std::size_t{4} << 20U;

/// From this size on a segment is not grown, which would hold it twice while it is copied, but followed by another. It
/// is larger than what the common allocators keep for reuse, so a released segment is memory that the system has back.
constexpr std::size_t kSegmentSize = std::size_t{40} << 20U;

} // namespace

void HttpBodyCollector::ExpectLength(std::uint64_t length)
{
    expectedLength = length;
    first.reserve(static_cast<std::size_t>(std::min<std::uint64_t>(length, kTrustedLength)));
}

void HttpBodyCollector::Append(const char* bytes, std::size_t count)
{
    ReserveExpectedLength(count);
    while (count > 0) {
        std::string& segment = SegmentWithRoom();
        const std::size_t limit = std::max(segment.capacity(), kSegmentSize);
        const std::size_t fitting = std::min(count, limit - segment.size());
        if (segment.size() + fitting > segment.capacity() && segment.capacity() > kSegmentSize / 2) {
            // Else it would double, and be larger than a segment.
            segment.reserve(limit);
        }
        segment.append(bytes, fitting);
        bytes += fitting;
        count -= fitting;
    }
}

std::string HttpBodyCollector::Take()
{
    std::string body = std::exchange(first, std::string());
    std::size_t total = body.size();
    for (const std::string& segment : further) {
        total += segment.size();
    }
    if (total > body.size()) {
        body.reserve(total);
    }
    for (std::string& segment : further) {
        // Moved out, for a text that is assigned keeps its memory.
        const std::string released = std::move(segment);
        body += released;
    }
    further.clear();
    expectedLength = 0;
    return body;
}

/// Makes room for the whole announced body once the trusted part is full.
void HttpBodyCollector::ReserveExpectedLength(std::size_t count)
{
    const bool outgrown = first.size() + count > first.capacity();
    if (!further.empty() || !outgrown || first.size() + count > expectedLength) {
        return;
    }
    const std::uint64_t length = expectedLength;
    expectedLength = 0;
    if (length > first.max_size()) {
        return;
    }
    try {
        first.reserve(static_cast<std::size_t>(length));
    } catch (const std::bad_alloc&) {
        // The announcement may be false: go on with what really comes.
        return;
    }
}

std::string& HttpBodyCollector::SegmentWithRoom()
{
    std::string& last = further.empty() ? first : further.back();
    if (last.size() < std::max(last.capacity(), kSegmentSize)) {
        return last;
    }
    further.emplace_back().reserve(kSegmentSize);
    return further.back();
}

} // namespace LumNetworking
