#pragma once

#include <gtest/gtest.h>

#include <string>

namespace LumTests {

/// What comes on the process's standard error stream while the function runs, with "\n" for a line end.
template <typename Function>
std::string standardErrorOf(const Function& function)
{
    testing::internal::CaptureStderr();
    function();
    std::string text;
    for (const char character : testing::internal::GetCapturedStderr()) {
        if (character != '\r') {
            text += character;
        }
    }
    return text;
}

} // namespace LumTests
