#include "support/ProbeStack.h"

#include <initializer_list>

#include <windows.h>

namespace LumTests {

namespace {

/// A thread whose stack lives until it may end.
struct Probe {
    void (*run)();
    HANDLE hasRun;
    HANDLE mayEnd;
    MEMORY_BASIC_INFORMATION stack;
};

/// The pages of one kind that hold the place: a question tells only of those that follow the one that is asked for, so
/// that it begins where the whole stack does.
MEMORY_BASIC_INFORMATION pagesAround(const void* place)
{
    MEMORY_BASIC_INFORMATION pages = {};
    VirtualQuery(place, &pages, sizeof(pages));
    const auto* start = static_cast<const unsigned char*>(pages.AllocationBase);
    while (VirtualQuery(start, &pages, sizeof(pages)) != 0 && start + pages.RegionSize <= place) {
        start += pages.RegionSize;
    }
    return pages;
}

DWORD WINAPI runFunction(void* parameter)
{
    auto* const probe = static_cast<Probe*>(parameter);
    probe->run();
    const int place = 0;
    probe->stack = pagesAround(&place);
    SetEvent(probe->hasRun);
    WaitForSingleObject(probe->mayEnd, INFINITE);
    return 0;
}

} // namespace

bool runOnProbeStack(void (*run)(), void (*look)(const unsigned char* memory, std::size_t size))
{
    Probe probe = {run, CreateEventW(nullptr, TRUE, FALSE, nullptr), CreateEventW(nullptr, TRUE, FALSE, nullptr), {}};
    const HANDLE thread =
        CreateThread(nullptr, kProbeStackSize, runFunction, &probe, STACK_SIZE_PARAM_IS_A_RESERVATION, nullptr);
    if (thread == nullptr || WaitForSingleObject(probe.hasRun, INFINITE) != WAIT_OBJECT_0) {
        return false;
    }
    look(static_cast<const unsigned char*>(probe.stack.BaseAddress), probe.stack.RegionSize);
    SetEvent(probe.mayEnd);
    const bool hasEnded = WaitForSingleObject(thread, INFINITE) == WAIT_OBJECT_0;
    for (const HANDLE handle : {probe.hasRun, probe.mayEnd, thread}) {
        CloseHandle(handle);
    }
    return hasEnded && probe.stack.RegionSize > kProbeStackSize / 2;
}

} // namespace LumTests
