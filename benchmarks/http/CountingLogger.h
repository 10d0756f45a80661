#pragma once

#include "common/utils/ILumUtilsLoggerDelegate.h"

#include <atomic>
#include <cstdint>

namespace LumBench {

/// A host's log sink at its cheapest: it counts the records and formats none.
class CountingLogger : public LumUtils::ILumUtilsLoggerDelegate {
public:
    void logFatal(const std::string& file, const std::string& function, const std::string& format, unsigned int line,
                  ...) override;
    void logError(const std::string& file, const std::string& function, const std::string& format, unsigned int line,
                  ...) override;
    void logWarning(const std::string& file, const std::string& function, const std::string& format, unsigned int line,
                    ...) override;
    void logInfo(const std::string& file, const std::string& function, const std::string& format, unsigned int line,
                 ...) override;
    void logVerbose(const std::string& file, const std::string& function, const std::string& format, unsigned int line,
                    ...) override;
    void logAOL(const std::string& file, const std::string& function, const std::string& format, unsigned int line,
                ...) override;

    std::uint64_t Records() const { return records.load(); }

private:
    void Count() { records.fetch_add(1, std::memory_order_relaxed); }

    std::atomic<std::uint64_t> records{0};
};

} // namespace LumBench
