#include "support/ProcessResources.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

#include <malloc.h>
#include <unistd.h>

namespace LumTests {

namespace {

std::size_t entryCount(const char* folder)
{
    const std::filesystem::directory_iterator entries(folder);
    return static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
}

} // namespace

std::size_t usedMemory()
{
    std::ifstream file("/proc/self/statm");
    std::size_t total = 0;
    std::size_t resident = 0;
    file >> total >> resident;
    return resident * static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
}

std::size_t availableMemory()
{
    std::ifstream list("/proc/meminfo");
    std::string word;
    while (list >> word && word != "MemAvailable:") {
    }
    std::size_t kibibytes = 0;
    list >> kibibytes;
    return kibibytes * 1024;
}

std::size_t peakMemory()
{
    std::ifstream status("/proc/self/status");
    std::string word;
    while (status >> word && word != "VmHWM:") {
    }
    std::size_t kibibytes = 0;
    if (!(status >> kibibytes)) {
        throw std::runtime_error("the system does not tell the peak of the memory");
    }
    return kibibytes * 1024;
}

std::size_t heapInUse()
{
    const struct mallinfo2 heap = mallinfo2();
    return heap.uordblks + heap.hblkhd;
}

void giveFreeMemoryBack()
{
    malloc_trim(0);
}

std::size_t openDescriptorCount()
{
    return entryCount("/proc/self/fd");
}

bool hasDescriptorOf(unsigned long process, const std::string& path)
{
    // Callers join paths by backslashes.
    std::string native = path;
    std::replace(native.begin(), native.end(), '\\', '/');
    const std::filesystem::directory_iterator entries("/proc/" + std::to_string(process) + "/fd");
    return std::any_of(begin(entries), end(entries), [&native](const std::filesystem::directory_entry& entry) {
        std::error_code error;
        return std::filesystem::equivalent(entry.path(), native, error);
    });
}

std::size_t threadCount()
{
    return entryCount("/proc/self/task");
}

} // namespace LumTests
