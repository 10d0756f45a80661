#include "posix/allocation/FailingRequest.h"

#include <gtest/gtest.h>

#include <string>

/// lum_allocation_tests: the tests. With "first-request NUMBER": what one of them starts in a process of its own.
int main(int count, char** words)
{
    testing::InitGoogleTest(&count, words);
    if (count == 3 && std::string(words[1]) == LumTests::kFirstRequest) {
        return LumTests::runFirstRequest(std::stoul(words[2]));
    }
    return RUN_ALL_TESTS();
}
