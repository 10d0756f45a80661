#include "common/utils/LumFormattingLoggerDelegate.h"
#include "common/utils/LumLog.h"
#include "fuzz/FuzzTargets.h"

#include <memory>

namespace {

using LumUtils::LumLogLevel;

/// Keeps the last record.
class LastRecord : public LumUtils::LumFormattingLoggerDelegate {
public:
    std::string file;
    std::string function;
    std::string message;

private:
    void writeRecord(LumLogLevel /*level*/, const std::string& recordFile, const std::string& recordFunction,
                     const std::string& recordMessage, unsigned int /*line*/) override
    {
        file = recordFile;
        function = recordFunction;
        message = recordMessage;
    }
};

} // namespace

/// The input is a text that somebody else has made up: a URL, a path, the text of a server or of the system.
void LumFuzz::log(std::string_view input)
{
    const std::string text(input);
    const std::string visible = text.c_str();
    const auto record = std::make_shared<LastRecord>();
    LUM_LOG(record, Error, "function", "%s", text.c_str());
    expect(record->message == visible, "a value is printed as it is");
    LUM_LOG(record, Info, "function", "%s Failed with error description: %s", "Call", text.c_str());
    expect(record->message == "Call Failed with error description: " + visible, "a value is no format");
    LUM_LOG(record, Warning, "function", "%s%d%s%%", text.c_str(), 7, text.c_str());
    expect(record->message == visible + "7" + visible + "%", "values stay apart");
    LUM_LOG_TEXT(record, Verbose, "function", text);
    expect(record->message == visible, "a finished text is the message");
    LUM_LOG_FROM(record, AOL, text.c_str(), text.c_str(), 1, "%d", 1);
    expect(record->file == visible && record->function == visible && record->message == "1", "a place is no format");
}
