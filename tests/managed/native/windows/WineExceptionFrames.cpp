#include "platform/LumPlatform.h"

/// Lets .NET throw more than once on a thread under Wine, where this is part of a module that the program loads.
///
/// Wine 8 keeps a record of its own on the stack while it calls a handler, and links it to the thread. .NET leaves its
/// handler by going on at the catch, without a call that Wine could see; so the record stays linked when its stack has
/// been used again, and the next exception makes Wine call whatever stands there. 64-bit Windows has no such records.

namespace {

bool isWine()
{
    const HMODULE system = GetModuleHandleW(L"ntdll.dll");
    return system != nullptr && GetProcAddress(system, "wine_get_version") != nullptr;
}

/// Below the stack pointer of the code that throws nothing lives, so a record there is left over. What it linked to
/// cannot be trusted any more, and the list ends.
LONG CALLBACK dropLeftOverRecords(EXCEPTION_POINTERS* exception)
{
    auto* const thread = reinterpret_cast<NT_TIB*>(NtCurrentTeb());
    if (reinterpret_cast<DWORD64>(thread->ExceptionList) < exception->ContextRecord->Rsp) {
        thread->ExceptionList = reinterpret_cast<decltype(thread->ExceptionList)>(~ULONG_PTR{0});
    }
    return EXCEPTION_CONTINUE_SEARCH;
}

/// Asked before all others as long as it lives.
class FirstHandler {
public:
    FirstHandler() : handle(isWine() ? AddVectoredExceptionHandler(1, dropLeftOverRecords) : nullptr) {}
    ~FirstHandler()
    {
        if (handle != nullptr) {
            RemoveVectoredExceptionHandler(handle);
        }
    }
    FirstHandler(const FirstHandler&) = delete;
    FirstHandler& operator=(const FirstHandler&) = delete;

private:
    void* handle;
};

const FirstHandler kFirstHandler;

} // namespace
