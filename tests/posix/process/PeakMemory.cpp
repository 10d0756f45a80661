#include "posix/process/PeakMemory.h"

#include <fstream>
#include <stdexcept>
#include <string>

namespace LumTests {

namespace {

constexpr std::size_t kKibibyte = 1024;

/// The value of a line such as "VmHWM:    1234 kB".
std::size_t statusValue(const std::string& name)
{
    std::ifstream status("/proc/self/status");
    std::string line;
    while (std::getline(status, line)) {
        if (line.compare(0, name.size(), name) == 0) {
            return std::stoul(line.substr(name.size())) * kKibibyte;
        }
    }
    throw std::runtime_error("the system does not tell " + name);
}

} // namespace

MemoryUse memoryUse()
{
    return {statusValue("VmRSS:"), statusValue("VmHWM:")};
}

} // namespace LumTests
