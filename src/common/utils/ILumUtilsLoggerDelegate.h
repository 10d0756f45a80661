#pragma once

#include <string>

namespace LumUtils {

/// The host's log sink. The library formats nothing: it hands over every record with its level, source file, function
/// and line, and the host decides what to keep and where.
///
/// Every operation takes the path of the source file, the fully qualified name of the function, a printf-style format,
/// the source line, and then the values for the format's conversions. The line stands after the format: keep that
/// order. All texts are UTF-8 and live only for the call.
///
/// Calls arrive on the caller's thread and on the transport's threads, several at once, and the library holds no lock
/// around them: an implementation must accept concurrent calls. An exception that leaves an operation propagates to the
/// code that logged.
///
/// LumFormattingLoggerDelegate is a base that formats each record; derive from it unless you need the raw values.
///
/// The order of the operations is part of the binary interface.
class ILumUtilsLoggerDelegate {
public:
    virtual ~ILumUtilsLoggerDelegate() = default;

    virtual void logFatal(const std::string& file, const std::string& function, const std::string& format,
                          unsigned int line, ...) = 0;
    virtual void logError(const std::string& file, const std::string& function, const std::string& format,
                          unsigned int line, ...) = 0;
    virtual void logWarning(const std::string& file, const std::string& function, const std::string& format,
                            unsigned int line, ...) = 0;
    virtual void logInfo(const std::string& file, const std::string& function, const std::string& format,
                         unsigned int line, ...) = 0;
    virtual void logVerbose(const std::string& file, const std::string& function, const std::string& format,
                            unsigned int line, ...) = 0;
    virtual void logAOL(const std::string& file, const std::string& function, const std::string& format,
                        unsigned int line, ...) = 0;
};

} // namespace LumUtils
