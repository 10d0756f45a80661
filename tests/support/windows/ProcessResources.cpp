#include "support/ProcessResources.h"

#include <windows.h>

#include <psapi.h>
#include <tlhelp32.h>

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

std::size_t threadCount()
{
    const HANDLE threads = CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
    THREADENTRY32 thread = {};
    thread.dwSize = sizeof(thread);
    std::size_t count = 0;
    for (BOOL isThere = Thread32First(threads, &thread); isThere != FALSE; isThere = Thread32Next(threads, &thread)) {
        count += thread.th32OwnerProcessID == GetCurrentProcessId() ? 1U : 0U;
    }
    CloseHandle(threads);
    return count;
}

} // namespace LumTests
