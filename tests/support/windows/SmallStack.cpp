#include "support/SmallStack.h"

#include <windows.h>

namespace LumTests {

namespace {

constexpr SIZE_T kStackSize = 256 * 1024;

DWORD WINAPI run(void* function)
{
    (*static_cast<const std::function<void()>*>(function))();
    return 0;
}

} // namespace

bool runWithSmallStack(const std::function<void()>& function)
{
    void* const parameter = const_cast<std::function<void()>*>(&function);
    const HANDLE thread = CreateThread(nullptr, kStackSize, run, parameter, STACK_SIZE_PARAM_IS_A_RESERVATION, nullptr);
    if (thread == nullptr) {
        return false;
    }
    const bool ended = WaitForSingleObject(thread, INFINITE) == WAIT_OBJECT_0;
    CloseHandle(thread);
    return ended;
}

} // namespace LumTests
