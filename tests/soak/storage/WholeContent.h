#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace LumTests {

/// Contents that tell whether they are whole: length, seed, bytes made from the seed, and a checksum of it all.
namespace WholeContent {

/// A content with so many bytes made from the seed.
std::string make(std::uint64_t seed, std::size_t length);

/// Whether it is all of one content, and nothing else.
bool isWhole(const std::vector<char>& content);

} // namespace WholeContent

} // namespace LumTests
