#pragma once

#include <cstdlib>
#include <string>

namespace LumTests {

/// The program that holds a file open: the one that LUM_TEST_FILE_HOLDER names, such as one of another width, or that
/// of this build.
inline std::string fileHolder()
{
    const char* const other = std::getenv("LUM_TEST_FILE_HOLDER");
    return other == nullptr ? LUM_FILE_HOLDER : other;
}

} // namespace LumTests
