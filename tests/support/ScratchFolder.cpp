#include "support/ScratchFolder.h"

#include <filesystem>
#include <random>
#include <stdexcept>
#include <system_error>

namespace LumTests {

ScratchFolder::ScratchFolder()
{
    constexpr int kTries = 100;
    std::random_device random;
    for (int count = 0; count < kTries; ++count) {
        const auto path = std::filesystem::temp_directory_path() / ("lum-test-" + std::to_string(random()));
        if (std::filesystem::create_directory(path)) {
            folder = path.string();
            return;
        }
    }
    throw std::runtime_error("no new folder can be made below the temporary one");
}

ScratchFolder::~ScratchFolder()
{
    std::error_code ignored;
    std::filesystem::remove_all(folder, ignored);
}

} // namespace LumTests
