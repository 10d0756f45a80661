#include "support/server/StaticTree.h"

#include "support/BodyPattern.h"

#include <fstream>

namespace LumTestServer {

namespace {

constexpr std::uintmax_t kLargeSize = std::uintmax_t{256} << 20U;

void makePatternFile(const std::filesystem::path& path, std::size_t size)
{
    std::ofstream file(path, std::ios::binary);
    file << LumTests::makeBodyPattern(size);
}

} // namespace

void makeStaticTree(const std::filesystem::path& root)
{
    std::filesystem::create_directories(root);
    std::filesystem::create_directory_symlink("/usr/share/common-licenses", root / "licenses");
    makePatternFile(root / "empty.bin", 0);
    makePatternFile(root / "one.bin", 1);
    makePatternFile(root / "small.bin", 32);
    makePatternFile(root / "medium.bin", std::size_t{64} << 10U);
    makePatternFile(root / "large.bin", 0);
    std::filesystem::resize_file(root / "large.bin", kLargeSize);
}

} // namespace LumTestServer
