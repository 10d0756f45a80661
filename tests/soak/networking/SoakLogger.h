#pragma once

#include "common/utils/LumFormattingLoggerDelegate.h"

#include <atomic>
#include <cstdint>
#include <string>

namespace LumTests {

/// Counts records, and those that hold what must never be logged.
class SoakLogger : public LumUtils::LumFormattingLoggerDelegate {
public:
    explicit SoakLogger(std::string newSecret) : secret(std::move(newSecret)) {}

    std::uint64_t Records() const { return records; }
    std::uint64_t Leaks() const { return leaks; }

private:
    void writeRecord(LumUtils::LumLogLevel /*level*/, const std::string& /*file*/, const std::string& /*function*/,
                     const std::string& message, unsigned int /*line*/) override
    {
        ++records;
        leaks += message.find(secret) == std::string::npos ? 0 : 1;
    }

    const std::string secret;
    std::atomic<std::uint64_t> records{0};
    std::atomic<std::uint64_t> leaks{0};
};

} // namespace LumTests
