#include "Windows/Cli/LumCliAbi.h"
#include "Windows/networking/WinHttpClientAsync.h"
#include "Windows/utils/LumDebuggerUtils.h"
#include "common/storage/LumFileManager.h"
#include "common/storage/LumStdFilesystemWrapper.h"
#include "common/utils/LumBase64.h"
#include "common/utils/LumError.h"
#include "common/utils/LumFormattingLoggerDelegate.h"
#include "common/utils/LumUuidUtils.h"

#include <atomic>
#include <exception>
#include <future>
#include <iostream>
#include <stdexcept>
#include <string>

/// A program of somebody else's on the installed library. It uses each of its parts, derives from its classes, catches
/// what it throws, and throws through it.

namespace {

int failures = 0;

void expect(bool condition, const char* what)
{
    if (!condition) {
        std::cerr << "failed: " << what << '\n';
        ++failures;
    }
}

class CountingLogger : public LumUtils::LumFormattingLoggerDelegate {
public:
    std::atomic<int> records{0};
    std::atomic<bool> throws{false};

protected:
    void writeRecord(LumUtils::LumLogLevel, const std::string&, const std::string&, const std::string&,
                     unsigned int) override
    {
        ++records;
        if (throws) {
            throw std::runtime_error("the log is full");
        }
    }
};

void useUtilities()
{
    expect(std::string(LumCliGetLibraryVersion()) == EXPECTED_VERSION, "the library has the package's version");
    expect(LumUtils::generateUuid().size() == 36, "a UUID has 36 characters");
    const LumUtils::LumError error("a domain", 7, {{LumUtils::LumErrorUnderlyingErrorCode, 12}});
    expect(LumUtils::LumError::fromJson(error.toJson())->getDescription() == error.getDescription(),
           "an error survives its JSON form");
}

void catchWhatItThrows()
{
    try {
        LumUtils::base64Decode("?");
        expect(false, "an invalid text throws");
    } catch (const std::exception&) {
        expect(std::uncaught_exceptions() == 0, "a caught exception is forgotten");
    }
}

void storeAFile(const std::shared_ptr<CountingLogger>& logger)
{
    LumStorage::LumFileManager files(logger, std::make_shared<LumStorage::LumStdFilesystemWrapper>());
    const std::string path = "install-consumer.txt";
    std::shared_ptr<LumUtils::ILumError> error;
    expect(files.writeFileContentWithLock(path, "content", error) && !error, "a file is written");
    const auto content = files.readFileContentWithLock(path, error);
    expect(std::string(content.begin(), content.end()) == "content", "and read");
    expect(files.deleteFile(path), "and deleted");
    expect(logger->records > 0, "and logged");
    logger->throws = true;
    expect(!files.deleteFile(path), "a throwing logger harms nobody");
    logger->throws = false;
}

/// Nobody listens on port 1, so the request fails; it is the way there and back that counts.
void sendARequest(const std::shared_ptr<CountingLogger>& logger)
{
    std::promise<int> code;
    LumNetworking::WinHttpClientAsync client(logger);
    const auto transaction = client.Get(
        "http://127.0.0.1:1/", {},
        [&code](LumNetworking::HttpRequestResult, auto, auto error, auto) { code.set_value(error->getCode()); }, true,
        5);
    expect(transaction && code.get_future().get() == 13, "a request to nobody fails");
}

} // namespace

int main()
{
    const auto logger = std::make_shared<CountingLogger>();
    useUtilities();
    catchWhatItThrows();
    storeAFile(logger);
    sendARequest(logger);
    expect(!LumUtils::LumDebuggerUtils(logger).isDebuggerAttached(), "no debugger is attached");
    std::cout << (failures == 0 ? "works\n" : "does not work\n");
    return failures;
}
