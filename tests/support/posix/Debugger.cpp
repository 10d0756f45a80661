#include "support/Debugger.h"

#include <string>

#include <sys/prctl.h>

namespace LumTests {

void allowDebuggers()
{
    prctl(PR_SET_PTRACER, PR_SET_PTRACER_ANY, 0, 0, 0);
}

bool debugToItsEnd(const ChildProgram& program)
{
    // No start-up files and no symbol servers. The debugger goes when the program does.
    ChildProgram debugger("/usr/bin/env", {"-u", "DEBUGINFOD_URLS", "gdb", "-nx", "-batch", "-iex", "set auto-load off",
                                           "-ex", "continue", "-p", std::to_string(program.processId())});
    return debugger.wait() == 0;
}

} // namespace LumTests
