#pragma once

#include "WindowMailbox.h"

#include "common/utils/LumFormattingLoggerDelegate.h"

namespace LumWindow {

/// Hands each record of the library to the window's thread, as one line of text.
class WindowLogger : public LumUtils::LumFormattingLoggerDelegate {
public:
    /// The sink runs on the window's thread.
    WindowLogger(std::shared_ptr<WindowMailbox> windowMailbox, std::function<void(const std::string& line)> lineSink);

private:
    void writeRecord(LumUtils::LumLogLevel level, const std::string& file, const std::string& function,
                     const std::string& message, unsigned int line) override;

    std::shared_ptr<WindowMailbox> mailbox;
    std::function<void(const std::string&)> sink;
};

} // namespace LumWindow
