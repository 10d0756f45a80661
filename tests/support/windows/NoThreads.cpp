#include "support/NoThreads.h"

#include "support/windows/ModuleImport.h"

#include <cerrno>
#include <cstdint>

namespace LumTests {

namespace {

using Start = unsigned(__stdcall*)(void*);

std::uintptr_t refuseThread(void* /*security*/, unsigned /*stackSize*/, Start /*start*/, void* /*argument*/,
                            unsigned /*flags*/, unsigned* /*id*/)
{
    errno = EAGAIN;
    return 0;
}

} // namespace

/// The module's calls that start threads are answered here.
struct NoThreads::System {
    System() : before(start.redirect(reinterpret_cast<void*>(&refuseThread))) {}
    ~System() { start.redirect(before); }
    System(const System&) = delete;
    System& operator=(const System&) = delete;

    const ModuleImport start{"_beginthreadex"};
    void* const before;
};

NoThreads::NoThreads() : system(std::make_unique<System>()) {}

NoThreads::~NoThreads() = default;

} // namespace LumTests
