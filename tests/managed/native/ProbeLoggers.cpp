#include "managed/native/Probe.h"

#include "Windows/Cli/utils/LumUtilsLoggerDelegateCliAdapter.h"
#include "Windows/Cli/utils/ManagedException.h"
#include "support/RecordingLogger.h"

#include <memory>

using LumTests::RecordingLogger;
using Logger = std::shared_ptr<LumUtils::ILumUtilsLoggerDelegate>;

namespace {

using Operation = void (LumUtils::ILumUtilsLoggerDelegate::*)(const std::string&, const std::string&,
                                                              const std::string&, unsigned int, ...);

constexpr Operation kOperations[] = {
    &LumUtils::ILumUtilsLoggerDelegate::logFatal,   &LumUtils::ILumUtilsLoggerDelegate::logError,
    &LumUtils::ILumUtilsLoggerDelegate::logWarning, &LumUtils::ILumUtilsLoggerDelegate::logInfo,
    &LumUtils::ILumUtilsLoggerDelegate::logVerbose, &LumUtils::ILumUtilsLoggerDelegate::logAOL,
};

struct ProbeRecord {
    ProbeText file;
    ProbeText function;
    ProbeText format;
    std::uint32_t line;
    std::int32_t number;
    /// Passed as the value of the format, with the number after it, if it is not null.
    const char* value;
};

} // namespace

/// A new shared pointer to a logger that records.
LUM_PROBE Logger* LumProbeCreateLogger()
{
    return new Logger(std::make_shared<RecordingLogger>());
}

LUM_PROBE Logger* LumProbeCreateEmptyLogger()
{
    return new Logger();
}

/// A new shared pointer to the adapter around a managed logger.
LUM_PROBE Logger* LumProbeCreateAdapter(const LumCliHostTable* table, LumCliHandle managedLogger)
{
    return new Logger(std::make_shared<LumUtilsCli::LumUtilsLoggerDelegateCliAdapter>(
        LumUtilsCli::ManagedReference{table, managedLogger}));
}

LUM_PROBE void LumProbeFreeLogger(Logger* logger)
{
    const std::unique_ptr<Logger> owned(logger);
}

/// How many share the logger, this one included.
LUM_PROBE std::int32_t LumProbeLoggerUsers(const Logger* logger)
{
    return static_cast<std::int32_t>(logger->use_count());
}

LUM_PROBE std::int32_t LumProbeRecordCount(const Logger* logger)
{
    return static_cast<std::int32_t>(static_cast<const RecordingLogger&>(**logger).records().size());
}

/// Writes the message of a record, at most so many bytes, and returns its level.
LUM_PROBE std::int32_t LumProbeRecord(const Logger* logger, std::int32_t index, char* message, std::int32_t room)
{
    const std::vector<LumTests::LogRecord> records = static_cast<const RecordingLogger&>(**logger).records();
    const LumTests::LogRecord& record = records[static_cast<std::size_t>(index)];
    message[record.message.copy(message, static_cast<std::size_t>(room) - 1)] = '\0';
    return static_cast<std::int32_t>(record.level);
}

/// Logs one record at the level; the result is the handle of what the managed logger threw, or 0.
LUM_PROBE LumCliHandle LumProbeLog(const Logger* logger, std::int32_t level, const ProbeRecord* record)
{
    const std::string file = toString(record->file);
    const std::string function = toString(record->function);
    const std::string format = toString(record->format);
    const Operation operation = kOperations[level];
    try {
        if (record->value != nullptr) {
            ((**logger).*operation)(file, function, format, record->line, record->value, record->number);
        } else {
            ((**logger).*operation)(file, function, format, record->line, record->number);
        }
        return 0;
    } catch (const LumUtilsCli::ManagedException& thrown) {
        return thrown.Release();
    }
}

/// Gives a handle back as the native half does.
LUM_PROBE void LumProbeCallReleaseHandle(const LumCliHostTable* table, LumCliHandle handle)
{
    table->releaseHandle(handle);
}

/// Hands a record to the table's function as it is, whatever its level.
LUM_PROBE LumCliHandle LumProbeCallLog(const LumCliHostTable* table, LumCliHandle managedLogger,
                                       const LumCliLogRecord* record)
{
    return table->log(managedLogger, record);
}
