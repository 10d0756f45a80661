#include "support/ProcessResources.h"

#include <filesystem>
#include <fstream>
#include <iterator>

#include <unistd.h>

namespace LumTests {

std::size_t usedMemory()
{
    std::ifstream file("/proc/self/statm");
    std::size_t total = 0;
    std::size_t resident = 0;
    file >> total >> resident;
    return resident * static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
}

std::size_t openDescriptorCount()
{
    const std::filesystem::directory_iterator descriptors("/proc/self/fd");
    return static_cast<std::size_t>(std::distance(begin(descriptors), end(descriptors)));
}

} // namespace LumTests
