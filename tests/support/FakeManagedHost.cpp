#include "support/FakeManagedHost.h"

#include "support/RequestRecorder.h"
#include "support/WithMemory.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>

namespace LumTests {

namespace {

using WideText = std::basic_string<LumCliChar>;

std::atomic<FakeManagedHost*> theHost{nullptr};

/// Guards the handles. It outlives the host: a worker that released the last one may still be letting it go.
std::mutex handlesMutex;

std::u16string toText(const LumCliText& text)
{
    return std::u16string(text.text, text.text + text.length);
}

std::optional<std::u16string> toNullableText(const LumCliText& text)
{
    return text.text == nullptr ? std::nullopt : std::optional<std::u16string>(toText(text));
}

/// Gives a text to a receiving function, in memory of its own so that reading beyond the end is found.
template <typename Receiver>
std::int32_t give(std::int32_t(LUM_CDECL* receive)(Receiver*, const LumCliChar*, std::int32_t), Receiver* receiver,
                  const std::optional<std::u16string>& text)
{
    if (!text) {
        const WithoutThatMemory inNativeHalf;
        return receive(receiver, nullptr, 0);
    }
    const std::vector<LumCliChar> units(text->begin(), text->end());
    static constexpr LumCliChar kNothing = 0;
    theHost.load()->beforeGiving();
    const WithoutThatMemory inNativeHalf;
    return receive(receiver, units.empty() ? &kNothing : units.data(), static_cast<std::int32_t>(units.size()));
}

void giveResponse(const FakeResponse& response, LumCliResponseReceiver* receiver)
{
    if (LumCliReceiveStatus(receiver, response.httpCode) != 0) {
        return;
    }
    if (give(&LumCliReceiveBody, receiver, response.body) != 0 || !response.headers) {
        return;
    }
    for (const std::optional<std::u16string>& line : *response.headers) {
        if (give(&LumCliReceiveHeader, receiver, line) != 0) {
            return;
        }
    }
}

FakeRequest toRequest(const LumCliRequest& request)
{
    FakeRequest copy{toText(request.method), toText(request.url), {}, toNullableText(request.payload)};
    for (std::int32_t index = 0; index < request.headerCount; ++index) {
        copy.headers[toText(request.headers[index].name)] = toText(request.headers[index].value);
    }
    return copy;
}

std::shared_ptr<FakeException> makeException(std::int32_t kind, const std::optional<std::u16string>& text)
{
    const std::u16string given = text.value_or(u"(null)");
    const auto argument = [&](const char* type, const std::u16string& message) {
        auto exception = std::make_shared<FakeException>(type, message + u" (Parameter '" + given + u"')");
        exception->paramName = given;
        return exception;
    };
    switch (kind) {
    case kLumCliArgumentNull:
        return argument("System.ArgumentNullException", u"Value cannot be null.");
    case kLumCliArgumentOutOfRange:
        return argument("System.ArgumentOutOfRangeException",
                        u"Specified argument was out of the range of valid values.");
    case kLumCliArgument:
        return exceptionOf("System.ArgumentException", given);
    case kLumCliInsufficientMemory:
        return exceptionOf("System.InsufficientMemoryException", u"Insufficient memory.");
    case kLumCliOutOfMemory:
        return exceptionOf("System.OutOfMemoryException", u"Out of memory.");
    default:
        return exceptionOf("System.Runtime.InteropServices.ExternalException", given);
    }
}

template <typename Type>
Type& dereference(const std::shared_ptr<ManagedObject>& object)
{
    if (!object) {
        throw ManagedThrow{
            exceptionOf("System.NullReferenceException", u"Object reference not set to an instance of an object.")};
    }
    return dynamic_cast<Type&>(*object);
}

} // namespace

/// The functions of the table.
struct FakeTable {
    static FakeManagedHost& host() { return *theHost.load(); }

    /// Runs managed code; what it throws becomes a handle.
    template <typename Code>
    static LumCliHandle guarded(Code code)
    {
        const WithMemory withMemory;
        try {
            host().enterFallibleCall();
            code();
            return 0;
        } catch (const ManagedThrow& thrown) {
            return host().allocate(thrown.exception, true);
        }
    }

    static LumCliHandle LUM_CDECL duplicateHandle(LumCliHandle handle, LumCliHandle* duplicate)
    {
        *duplicate = 0;
        return guarded([&] { *duplicate = host().allocate(host().resolve(handle), true); });
    }

    static void LUM_CDECL releaseHandle(LumCliHandle handle)
    {
        const WithMemory withMemory;
        host().release(handle);
    }

    static LumCliHandle LUM_CDECL sendAndGetResponse(LumCliHandle client, const LumCliRequest* request,
                                                     LumCliResponseReceiver* receiver)
    {
        return guarded([&] {
            const std::shared_ptr<ManagedObject> object = host().resolve(client);
            giveResponse(dereference<FakeSocksClient>(object).sendAndGetResponse(toRequest(*request)), receiver);
        });
    }

    static LumCliHandle LUM_CDECL setSocksParameters(LumCliHandle client, const LumCliText* staTicket,
                                                     const LumCliText* socksServerUrl)
    {
        return guarded([&] {
            const std::shared_ptr<ManagedObject> object = host().resolve(client);
            dereference<FakeSocksClient>(object).setSocksParameters(toText(*staTicket), toText(*socksServerUrl));
        });
    }

    static LumCliHandle LUM_CDECL log(LumCliHandle logger, const LumCliLogRecord* record)
    {
        static constexpr const char* kOperations[] = {"LogFatal", "LogError",   "LogWarning",
                                                      "LogInfo",  "LogVerbose", "LogAOL"};
        return guarded([&] {
            const std::shared_ptr<ManagedObject> object = host().resolve(logger);
            const char* const operation = kOperations[static_cast<std::size_t>(record->level)];
            dereference<FakeManagedLogger>(object).log(
                {operation, toText(record->file), toText(record->function), toText(record->message), record->line});
        });
    }

    static LumCliHandle LUM_CDECL createException(std::int32_t kind, const LumCliText* text)
    {
        const WithMemory withMemory;
        return host().refusesExceptions ? 0 : host().allocate(makeException(kind, toNullableText(*text)), true);
    }

    static LumCliHandle LUM_CDECL getExceptionMessage(LumCliHandle exception, LumCliMessageReceiver* receiver)
    {
        return guarded([&] {
            const std::shared_ptr<ManagedObject> object = host().resolve(exception);
            const auto& fake = dereference<FakeException>(object);
            if (fake.thrownByMessage) {
                throw ManagedThrow{fake.thrownByMessage};
            }
            give(&LumCliReceiveMessage, receiver, fake.message);
        });
    }
};

std::shared_ptr<FakeException> exceptionOf(const std::string& type, const std::u16string& message)
{
    return std::make_shared<FakeException>(type, message);
}

void FakeSocksClient::answer(FakeResponse response)
{
    onSend = [response = std::move(response)](const FakeRequest&) { return response; };
}

void FakeSocksClient::fail(std::shared_ptr<FakeException> exception)
{
    onSend = [exception = std::move(exception)](const FakeRequest&) -> FakeResponse { throw ManagedThrow{exception}; };
}

std::vector<FakeRequest> FakeSocksClient::requests() const
{
    const std::lock_guard<std::mutex> lock(mutex);
    return sent;
}

std::vector<std::pair<std::u16string, std::u16string>> FakeSocksClient::parameters() const
{
    const std::lock_guard<std::mutex> lock(mutex);
    return given;
}

FakeResponse FakeSocksClient::sendAndGetResponse(const FakeRequest& request)
{
    if (keepsRequests) {
        const std::lock_guard<std::mutex> lock(mutex);
        sent.push_back(request);
    }
    return onSend(request);
}

void FakeSocksClient::setSocksParameters(std::u16string staTicket, std::u16string socksServerUrl)
{
    onSetSocksParameters();
    const std::lock_guard<std::mutex> lock(mutex);
    given.emplace_back(std::move(staTicket), std::move(socksServerUrl));
}

std::vector<ManagedRecord> FakeManagedLogger::records() const
{
    const std::lock_guard<std::mutex> lock(mutex);
    return kept;
}

std::vector<ManagedRecord> FakeManagedLogger::recordsOf(const std::string& operation) const
{
    std::vector<ManagedRecord> found = records();
    found.erase(std::remove_if(found.begin(), found.end(),
                               [&](const ManagedRecord& record) { return record.operation != operation; }),
                found.end());
    return found;
}

void FakeManagedLogger::log(ManagedRecord record)
{
    {
        const std::lock_guard<std::mutex> lock(mutex);
        kept.push_back(record);
    }
    onLog(record);
}

FakeManagedHost::FakeManagedHost()
{
    functions = {sizeof(LumCliHostTable),
                 kLumCliAbiVersion,
                 FakeTable::duplicateHandle,
                 FakeTable::releaseHandle,
                 FakeTable::sendAndGetResponse,
                 FakeTable::setSocksParameters,
                 FakeTable::log,
                 FakeTable::createException,
                 FakeTable::getExceptionMessage,
                 nullptr};
    theHost = this;
}

FakeManagedHost::~FakeManagedHost()
{
    waitUntil([this] { return nativeHandles() == 0; }, std::chrono::seconds(20));
    EXPECT_EQ(nativeHandles(), 0U) << "the native half holds handles";
    for (const std::string& what : misuses) {
        ADD_FAILURE() << what;
    }
    theHost = nullptr;
}

void FakeManagedHost::becomeUnloadable()
{
    // As in a host they stay until the process ends, within reach of whoever looks for leaks.
    static std::vector<LumCliGate*> gates;
    functions.gate = LumCliCreateGate();
    gates.push_back(functions.gate);
}

std::int32_t FakeManagedHost::unload(std::int32_t milliseconds)
{
    const std::int32_t inside = LumCliCloseGate(functions.gate, milliseconds);
    const std::lock_guard<std::mutex> lock(handlesMutex);
    handles.clear();
    return inside;
}

LumCliHandle FakeManagedHost::handleTo(const std::shared_ptr<ManagedObject>& object)
{
    return object ? allocate(object, false) : 0;
}

LumUtilsCli::ManagedReference FakeManagedHost::lend(const std::shared_ptr<ManagedObject>& object)
{
    return {&functions, handleTo(object)};
}

std::size_t FakeManagedHost::nativeHandles() const
{
    const std::lock_guard<std::mutex> lock(handlesMutex);
    return static_cast<std::size_t>(
        std::count_if(handles.begin(), handles.end(), [](const auto& entry) { return entry.second.isNative; }));
}

void FakeManagedHost::failCall(int number)
{
    calls = 0;
    failing = number;
}

std::shared_ptr<FakeException> FakeManagedHost::takeException(LumCliHandle handle)
{
    auto exception = std::dynamic_pointer_cast<FakeException>(resolve(handle));
    release(handle);
    return exception;
}

LumCliHandle FakeManagedHost::allocate(const std::shared_ptr<ManagedObject>& object, bool isNative)
{
    const std::lock_guard<std::mutex> lock(handlesMutex);
    const LumCliHandle handle = next++;
    handles.emplace_hint(handles.end(), handle, Entry{object, isNative});
    allocated += isNative ? 1 : 0;
    return handle;
}

void FakeManagedHost::release(LumCliHandle handle)
{
    // The object goes after the lock: its end is managed code.
    std::shared_ptr<ManagedObject> object;
    const std::lock_guard<std::mutex> lock(handlesMutex);
    const auto entry = handles.find(handle);
    if (entry == handles.end() || !entry->second.isNative) {
        misuses.push_back("released a handle that is not the native half's: " + std::to_string(handle));
        return;
    }
    object = std::move(entry->second.object);
    handles.erase(entry);
}

std::shared_ptr<ManagedObject> FakeManagedHost::resolve(LumCliHandle handle)
{
    if (handle == 0) {
        return nullptr;
    }
    const std::lock_guard<std::mutex> lock(handlesMutex);
    const auto entry = handles.find(handle);
    if (entry == handles.end()) {
        misuses.push_back("used a handle that is none: " + std::to_string(handle));
        return nullptr;
    }
    return entry->second.object;
}

void FakeManagedHost::enterFallibleCall()
{
    if (++calls == failing) {
        throw ManagedThrow{exceptionOf("System.OutOfMemoryException", u"Out of memory.")};
    }
}

} // namespace LumTests
