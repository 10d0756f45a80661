#include "support/ProcessResources.h"

#include <windows.h>

#include <psapi.h>

namespace LumTests {

std::size_t usedMemory()
{
    PROCESS_MEMORY_COUNTERS counters = {};
    K32GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof(counters));
    return counters.WorkingSetSize;
}

std::size_t openDescriptorCount()
{
    DWORD count = 0;
    GetProcessHandleCount(GetCurrentProcess(), &count);
    return count;
}

} // namespace LumTests
