#include "Windows/utils/LumDebuggerUtils.h"
#include "common/utils/LumFormattingLoggerDelegate.h"
#include "support/Debugger.h"

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <string>

/// Waits for a debugger in the way that its argument names, at most 15 seconds, and prints each message as it comes.
/// Exits with 0 if a debugger has come and with 3 if not.

namespace {

/// Shows the messages to the one who reads them when they come.
class PrintingLogger : public LumUtils::LumFormattingLoggerDelegate {
private:
    void writeRecord(LumUtils::LumLogLevel /*level*/, const std::string& /*file*/, const std::string& /*function*/,
                     const std::string& message, unsigned int /*line*/) override
    {
        std::printf("%s\n", message.c_str());
        std::fflush(stdout);
    }
};

bool waitAsNamed(LumUtils::LumDebuggerUtils& utils, const std::string& way)
{
    constexpr int kLooks = 150;
    if (way == "callback") {
        int looks = 0;
        utils.waitForDebuggerWithCallback([&looks] { return ++looks < kLooks; }, std::chrono::milliseconds(100));
        return utils.isDebuggerAttached();
    }
    try {
        utils.waitForDebugger(std::chrono::milliseconds(way == "once" ? 0 : kLooks * 100));
        return true;
    } catch (const std::runtime_error&) {
        return false;
    }
}

} // namespace

int main(int count, char** arguments)
{
    LumTests::allowDebuggers();
    LumUtils::LumDebuggerUtils utils(std::make_shared<PrintingLogger>());
    const bool hasCome = waitAsNamed(utils, count > 1 ? arguments[1] : "");
    // Without the checks at exit, some of which do not work under a debugger.
    std::_Exit(hasCome ? 0 : 3);
}
