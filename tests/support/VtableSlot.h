#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace LumTests {

/// The place of a virtual operation in its class's table, the destructor being 0, as the Itanium C++ ABI lays it out
/// (the three builds' compilers follow it): a pointer to a virtual member holds one plus the offset into the table, and
/// the destructor takes two entries.
template <typename MemberPointer>
std::size_t vtableSlot(MemberPointer member)
{
    std::uintptr_t offsetPlusOne = 0;
    static_assert(sizeof(member) >= sizeof(offsetPlusOne), "a member pointer holds at least an offset");
    std::memcpy(&offsetPlusOne, &member, sizeof(offsetPlusOne));
    return (offsetPlusOne - 1) / sizeof(void*) - 1;
}

} // namespace LumTests
