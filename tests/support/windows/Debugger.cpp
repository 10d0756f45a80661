#include "support/Debugger.h"

#include <windows.h>

namespace LumTests {

namespace {

constexpr DWORD kMillisecondsToAnEvent = 20000;

/// Lets the program go on as if nobody watched it; the breakpoint is the one by which the system attaches.
DWORD answerTo(const DEBUG_EVENT& event)
{
    if (event.dwDebugEventCode == CREATE_PROCESS_DEBUG_EVENT) {
        CloseHandle(event.u.CreateProcessInfo.hFile);
    } else if (event.dwDebugEventCode == LOAD_DLL_DEBUG_EVENT) {
        CloseHandle(event.u.LoadDll.hFile);
    }
    const bool isProgramsOwn = event.dwDebugEventCode == EXCEPTION_DEBUG_EVENT &&
                               event.u.Exception.ExceptionRecord.ExceptionCode != EXCEPTION_BREAKPOINT;
    return isProgramsOwn ? static_cast<DWORD>(DBG_EXCEPTION_NOT_HANDLED) : static_cast<DWORD>(DBG_CONTINUE);
}

} // namespace

void allowDebuggers() {}

bool debugToItsEnd(const ChildProgram& program)
{
    if (!DebugActiveProcess(static_cast<DWORD>(program.processId()))) {
        return false;
    }
    DEBUG_EVENT event{};
    while (WaitForDebugEvent(&event, kMillisecondsToAnEvent)) {
        ContinueDebugEvent(event.dwProcessId, event.dwThreadId, answerTo(event));
        if (event.dwDebugEventCode == EXIT_PROCESS_DEBUG_EVENT) {
            return true;
        }
    }
    return false;
}

} // namespace LumTests
