#include "common/networking/Ipv6Address.h"

#include "common/utils/LumAscii.h"

#include <algorithm>
#include <cstddef>

namespace LumNetworking {

namespace {

constexpr std::size_t kGroupsOfAddress = 8;

/// The count of a malformed list; with any other count added to it, it is still more than an address has.
constexpr std::size_t kMalformed = kGroupsOfAddress + 1;

/// A number from 0 to 255 without leading zeros.
bool isDecimalOctet(std::string_view text)
{
    constexpr std::size_t kMostDigits = 3;
    const bool isNumber = !text.empty() && std::all_of(text.begin(), text.end(), LumUtils::Ascii::isDigit);
    const bool hasLeadingZero = text.size() > 1 && text.front() == '0';
    if (!isNumber || hasLeadingZero || text.size() > kMostDigits) {
        return false;
    }
    return text.size() < kMostDigits || text <= "255";
}

bool isIpv4Address(std::string_view text)
{
    for (int octetsLeft = 4; octetsLeft > 1; --octetsLeft) {
        const std::size_t dot = text.find('.');
        if (dot == std::string_view::npos || !isDecimalOctet(text.substr(0, dot))) {
            return false;
        }
        text.remove_prefix(dot + 1);
    }
    return isDecimalOctet(text);
}

bool isGroup(std::string_view text)
{
    constexpr std::size_t kMostDigits = 4;
    return !text.empty() && text.size() <= kMostDigits &&
           std::all_of(text.begin(), text.end(), LumUtils::Ascii::isHexDigit);
}

/// The number of groups of 16 bits in a list that colons separate; an empty list has none. An IPv4 address at the end
/// of the address counts as two.
std::size_t countGroups(std::string_view list, bool isEndOfAddress)
{
    if (list.empty()) {
        return 0;
    }
    std::size_t count = 1;
    for (std::size_t colon = list.find(':'); colon != std::string_view::npos; colon = list.find(':')) {
        if (!isGroup(list.substr(0, colon))) {
            return kMalformed;
        }
        list.remove_prefix(colon + 1);
        ++count;
    }
    if (isEndOfAddress && isIpv4Address(list)) {
        return count + 1;
    }
    return isGroup(list) ? count : kMalformed;
}

} // namespace

bool isIpv6Address(std::string_view text)
{
    constexpr std::string_view kZeroGroups = "::";
    const std::size_t gap = text.find(kZeroGroups);
    if (gap == std::string_view::npos) {
        return countGroups(text, true) == kGroupsOfAddress;
    }
    // It stands for one group of zeros or more.
    return countGroups(text.substr(0, gap), false) + countGroups(text.substr(gap + kZeroGroups.size()), true) <
           kGroupsOfAddress;
}

} // namespace LumNetworking
