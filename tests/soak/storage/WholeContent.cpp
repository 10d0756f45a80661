#include "soak/storage/WholeContent.h"

#include <cstring>

namespace LumTests::WholeContent {

namespace {

struct Head {
    std::uint64_t length = 0;
    std::uint64_t seed = 0;
};

using Checksum = std::uint64_t;

constexpr std::size_t kOverhead = sizeof(Head) + sizeof(Checksum);

/// FNV-1a.
Checksum checksumOf(const char* bytes, std::size_t count)
{
    Checksum sum = 0xcbf29ce484222325;
    for (std::size_t index = 0; index < count; ++index) {
        sum = (sum ^ static_cast<unsigned char>(bytes[index])) * 0x100000001b3;
    }
    return sum;
}

} // namespace

std::string make(std::uint64_t seed, std::size_t length)
{
    const Head head = {length, seed};
    std::string content(sizeof(head) + length, '\0');
    std::memcpy(content.data(), &head, sizeof(head));
    std::uint64_t state = seed * 2 + 1;
    for (std::size_t index = sizeof(head); index < content.size(); ++index) {
        state = state * 6364136223846793005 + 1442695040888963407;
        content[index] = static_cast<char>(state >> 56U);
    }
    const Checksum sum = checksumOf(content.data(), content.size());
    content.append(reinterpret_cast<const char*>(&sum), sizeof(sum));
    return content;
}

bool isWhole(const std::vector<char>& content)
{
    if (content.size() < kOverhead) {
        return false;
    }
    Head head;
    std::memcpy(&head, content.data(), sizeof(head));
    Checksum sum = 0;
    std::memcpy(&sum, content.data() + content.size() - sizeof(sum), sizeof(sum));
    return head.length == content.size() - kOverhead && sum == checksumOf(content.data(), content.size() - sizeof(sum));
}

} // namespace LumTests::WholeContent
