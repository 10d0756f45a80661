#pragma once

#include "Windows/Cli/LumCliAbi.h"
#include "Windows/Cli/utils/ManagedHandle.h"

#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace LumTests {

/// An object of the managed half. It lives as long as somebody holds it, a handle included.
class ManagedObject {
public:
    virtual ~ManagedObject() = default;
};

/// A managed exception. Its message may be null, or reading it may throw.
class FakeException : public ManagedObject {
public:
    FakeException(std::string typeName, std::optional<std::u16string> messageText)
        : type(std::move(typeName)), message(std::move(messageText))
    {
    }

    const std::string type;
    const std::optional<std::u16string> message;
    std::u16string paramName;
    std::shared_ptr<FakeException> thrownByMessage;
};

/// What managed code of the tests throws.
struct ManagedThrow {
    std::shared_ptr<FakeException> exception;
};

/// An exception with a message, ready to be thrown.
std::shared_ptr<FakeException> exceptionOf(const std::string& type, const std::u16string& message);

/// HttpResponseCli.
struct FakeResponse {
    std::int32_t httpCode = 200;
    std::optional<std::vector<std::optional<std::u16string>>> headers;
    std::optional<std::u16string> body = u"";
};

/// What SendAndGetResponse was called with.
struct FakeRequest {
    std::u16string method;
    std::u16string url;
    std::map<std::u16string, std::u16string> headers;
    std::optional<std::u16string> payload;
};

/// An ISocksHttpClientCli. It answers as a test says, on several threads at once, and keeps what it was called with.
class FakeSocksClient : public ManagedObject {
public:
    std::function<FakeResponse(const FakeRequest&)> onSend = [](const FakeRequest&) { return FakeResponse(); };
    std::function<void()> onSetSocksParameters = [] {};

    std::atomic<bool> keepsRequests{true};

    /// Makes every request answer so.
    void answer(FakeResponse response);

    /// Makes every request throw this.
    void fail(std::shared_ptr<FakeException> exception);

    std::vector<FakeRequest> requests() const;
    std::vector<std::pair<std::u16string, std::u16string>> parameters() const;

    FakeResponse sendAndGetResponse(const FakeRequest& request);
    void setSocksParameters(std::u16string staTicket, std::u16string socksServerUrl);

private:
    mutable std::mutex mutex;
    std::vector<FakeRequest> sent;
    std::vector<std::pair<std::u16string, std::u16string>> given;
};

struct ManagedRecord {
    /// "LogInfo", and so on.
    std::string operation;
    std::u16string file;
    std::u16string function;
    std::u16string message;
    std::uint32_t line;
};

/// An ILumUtilsLoggerDelegateCli.
class FakeManagedLogger : public ManagedObject {
public:
    std::function<void(const ManagedRecord&)> onLog = [](const ManagedRecord&) {};

    std::vector<ManagedRecord> records() const;
    std::vector<ManagedRecord> recordsOf(const std::string& operation) const;

    void log(ManagedRecord record);

private:
    mutable std::mutex mutex;
    std::vector<ManagedRecord> kept;
};

/// The managed half as the native one sees it: a table of functions, and handles that count. There is one at a time.
///
/// Handles are numbers that are never used again, so that whatever a test lets go of twice, or uses afterwards, is
/// found; see misuses. It has memory where a test leaves the native half none.
class FakeManagedHost {
public:
    FakeManagedHost();

    /// Expects that every handle was released, waiting for workers that are about to end, and that nothing was misused.
    ~FakeManagedHost();
    FakeManagedHost(const FakeManagedHost&) = delete;
    FakeManagedHost& operator=(const FakeManagedHost&) = delete;

    const LumCliHostTable& table() const { return functions; }

    /// From now on the host may be unloaded: its table has a gate.
    void becomeUnloadable();

    /// Closes the gate, waiting so long, and ends all handles: whatever is called afterwards counts as misuse. Returns
    /// how many calls were still inside.
    std::int32_t unload(std::int32_t milliseconds);

    /// A handle that the managed half holds while it lends the object; it lasts until the host goes. 0 for null.
    LumCliHandle handleTo(const std::shared_ptr<ManagedObject>& object);
    LumUtilsCli::ManagedReference lend(const std::shared_ptr<ManagedObject>& object);

    /// Handles that the native half holds now, and how many it ever got.
    std::size_t nativeHandles() const;
    std::size_t allocatedHandles() const { return allocated; }

    /// Makes the n-th call (from 1, counted from now) of those that may fail throw an OutOfMemoryException.
    void failCall(int number);

    /// How many calls that may fail there were since failCall.
    int callCount() const { return calls; }

    /// Runs before each text that goes to the native half.
    std::function<void()> beforeGiving = [] {};

    /// While true, no exception can be made.
    std::atomic<bool> refusesExceptions{false};

    /// The object of a handle that the native half gave back for good, which ends the handle.
    std::shared_ptr<FakeException> takeException(LumCliHandle handle);

private:
    friend struct FakeTable;

    LumCliHandle allocate(const std::shared_ptr<ManagedObject>& object, bool isNative);
    void release(LumCliHandle handle);
    std::shared_ptr<ManagedObject> resolve(LumCliHandle handle);
    void enterFallibleCall();
    void misuse(const std::string& what);

    struct Entry {
        std::shared_ptr<ManagedObject> object;
        bool isNative;
    };

    LumCliHostTable functions{};
    std::map<LumCliHandle, Entry> handles;
    LumCliHandle next = 1;
    std::vector<std::string> misuses;
    std::atomic<std::size_t> allocated{0};
    std::atomic<int> failing{0};
    std::atomic<int> calls{0};
};

} // namespace LumTests
