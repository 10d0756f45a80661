#include "support/ProcessResources.h"

#include <windows.h>

#include <psapi.h>
#include <tlhelp32.h>
#include <winternl.h>

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <numeric>
#include <stdexcept>
#include <vector>

namespace LumTests {

namespace {

/// What SystemExtendedHandleInformation tells of every handle of the system.
struct HandleEntry {
    void* object;
    ULONG_PTR processId;
    ULONG_PTR value;
    ULONG access;
    USHORT backtrace;
    USHORT type;
    ULONG attributes;
    ULONG reserved;
};

struct HandleList {
    ULONG_PTR count;
    ULONG_PTR reserved;
    HandleEntry entries[1];
};

std::vector<unsigned char> handleList()
{
    using Query = NTSTATUS(NTAPI*)(int, void*, ULONG, ULONG*);
    constexpr int kExtendedHandleInformation = 64;
    constexpr NTSTATUS kTooShort = static_cast<NTSTATUS>(0xC0000004U);
    const auto query = reinterpret_cast<Query>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "NtQuerySystemInformation")));
    std::vector<unsigned char> list(std::size_t{128} << 10U);
    NTSTATUS status = kTooShort;
    while (status == kTooShort) {
        list.resize(2 * list.size());
        status = query(kExtendedHandleInformation, list.data(), static_cast<ULONG>(list.size()), nullptr);
    }
    if (status < 0) {
        throw std::runtime_error("the platform does not list handles");
    }
    return list;
}

PROCESS_MEMORY_COUNTERS memoryCounters()
{
    PROCESS_MEMORY_COUNTERS counters = {};
    K32GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof(counters));
    return counters;
}

std::size_t bytesInUse(HANDLE heap)
{
    std::size_t bytes = 0;
    PROCESS_HEAP_ENTRY entry = {};
    HeapLock(heap);
    while (HeapWalk(heap, &entry) != FALSE) {
        bytes += (entry.wFlags & PROCESS_HEAP_ENTRY_BUSY) != 0 ? entry.cbData : 0;
    }
    HeapUnlock(heap);
    return bytes;
}

} // namespace

std::size_t usedMemory()
{
    return memoryCounters().WorkingSetSize;
}

std::size_t availableMemory()
{
    MEMORYSTATUSEX status = {};
    status.dwLength = sizeof(status);
    GlobalMemoryStatusEx(&status);
    return static_cast<std::size_t>(std::min<DWORDLONG>(status.ullAvailPhys, SIZE_MAX));
}

std::size_t peakMemory()
{
    return memoryCounters().PeakWorkingSetSize;
}

std::size_t heapInUse()
{
    HANDLE heaps[64] = {};
    constexpr auto kMost = static_cast<DWORD>(std::size(heaps));
    const DWORD count = std::min(GetProcessHeaps(kMost, heaps), kMost);
    return std::accumulate(heaps, heaps + count, std::size_t{0},
                           [](std::size_t sum, HANDLE heap) { return sum + bytesInUse(heap); });
}

void giveFreeMemoryBack()
{
    HeapCompact(GetProcessHeap(), 0);
}

// GetProcessHandleCount says 0 on the platform of the tests, and the list of processes how much room there is for
// handles.
std::size_t openDescriptorCount()
{
    const std::vector<unsigned char> bytes = handleList();
    const auto* const list = reinterpret_cast<const HandleList*>(bytes.data());
    const auto count = std::count_if(list->entries, list->entries + list->count,
                                     [](const HandleEntry& entry) { return entry.processId == GetCurrentProcessId(); });
    if (count == 0) {
        throw std::runtime_error("the platform does not list the handles of this process");
    }
    return static_cast<std::size_t>(count);
}

bool hasDescriptorOf(unsigned long /*process*/, const std::string& /*path*/)
{
    return false;
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
