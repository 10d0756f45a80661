#include "WindowLogger.h"

#include <utility>

namespace LumWindow {

WindowLogger::WindowLogger(std::shared_ptr<WindowMailbox> windowMailbox,
                           std::function<void(const std::string& line)> lineSink)
    : mailbox(std::move(windowMailbox)), sink(std::move(lineSink))
{
}

void WindowLogger::writeRecord(LumUtils::LumLogLevel level, const std::string&, const std::string& function,
                               const std::string& message, unsigned int line)
{
    static constexpr const char* kNames[] = {"FATAL", "ERROR", "WARNING", "INFO", "VERBOSE", "AOL"};
    std::string text =
        std::string(kNames[static_cast<int>(level)]) + "  " + function + ":" + std::to_string(line) + "  " + message;
    mailbox->Post([receive = sink, text = std::move(text)] { receive(text); });
}

} // namespace LumWindow
