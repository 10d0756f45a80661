#include "Windows/Cli/LumCliAbi.h"
#include "Windows/Cli/networking/socks/LumAsynchronousSocksHttpClient.h"
#include "Windows/Cli/utils/LumUtilsLoggerDelegateCliAdapter.h"
#include "Windows/Cli/utils/ManagedException.h"
#include "Windows/Cli/utils/ManagedText.h"

#include <exception>
#include <new>

namespace {

using Logger = std::shared_ptr<LumUtils::ILumUtilsLoggerDelegate>;
using LumNetworking::ILumAsynchronousHttpClient;
using LumNetworking::LumAsynchronousSocksHttpClient;
using LumUtilsCli::ManagedReference;

constexpr std::int32_t kBitsPerByte = 8;

bool isUsable(const LumCliHostTable* table)
{
    return table != nullptr && table->size >= sizeof(LumCliHostTable) && table->version == kLumCliAbiVersion;
}

/// Creates the client; throws what the factory is to throw.
ILumAsynchronousHttpClient* createClient(const Logger& logger, const ManagedReference& client)
{
    if (!logger) {
        LumUtilsCli::throwManaged(*client.host, kLumCliArgumentNull, "logger");
    }
    if (client.IsNull()) {
        LumUtilsCli::throwManaged(*client.host, kLumCliArgumentNull, "socksHttpClientCli");
    }
    return new LumAsynchronousSocksHttpClient(logger, client);
}

/// Brings a native exception over as a managed one. Throws std::bad_alloc if that is impossible.
LumCliHandle toManagedException(const LumCliHostTable& host, LumCliExceptionKind kind, const char* text)
{
    try {
        LumUtilsCli::throwManaged(host, kind, text);
    } catch (const LumUtilsCli::ManagedException& exception) {
        return exception.Release();
    }
}

/// To be called in a handler: the handle of the exception that it handles. Throws std::bad_alloc if there is none.
LumCliHandle currentException(const LumCliHostTable& host)
{
    try {
        throw;
    } catch (const LumUtilsCli::ManagedException& exception) {
        return exception.Release();
    } catch (const std::bad_alloc&) {
        return toManagedException(host, kLumCliOutOfMemory, nullptr);
    } catch (const std::exception& exception) {
        return toManagedException(host, kLumCliExternal, exception.what());
    } catch (...) {
        return toManagedException(host, kLumCliExternal, "Unknown exception");
    }
}

/// Runs one function of the library: nothing that it throws may reach the managed frames.
template <typename Create>
std::int32_t guarded(const LumCliHostTable* table, void** created, LumCliHandle* exception, Create create)
{
    *created = nullptr;
    *exception = 0;
    if (!isUsable(table)) {
        return kLumCliOtherVersion;
    }
    try {
        *created = create();
        return kLumCliOk;
    } catch (...) {
        try {
            *exception = currentException(*table);
            return kLumCliException;
        } catch (...) {
            return kLumCliNoMemory;
        }
    }
}

} // namespace

std::uint32_t LUM_CDECL LumCliGetAbiVersion()
{
    return kLumCliAbiVersion;
}

std::int32_t LUM_CDECL LumCliGetPointerBits()
{
    return kBitsPerByte * static_cast<std::int32_t>(sizeof(void*));
}

const char* LUM_CDECL LumCliGetLibraryVersion()
{
    return LUM_LIBRARY_VERSION;
}

std::int32_t LUM_CDECL LumCliCreateSocksClientWithManagedLogger(const LumCliHostTable* table, LumCliHandle logger,
                                                                LumCliHandle client, void** created,
                                                                LumCliHandle* exception)
{
    return guarded(table, created, exception, [&] {
        const ManagedReference managedLogger{table, logger};
        return createClient(std::make_shared<LumUtilsCli::LumUtilsLoggerDelegateCliAdapter>(managedLogger),
                            {table, client});
    });
}

std::int32_t LUM_CDECL LumCliCreateSocksClientWithNativeLogger(const LumCliHostTable* table, const void* logger,
                                                               LumCliHandle client, void** created,
                                                               LumCliHandle* exception)
{
    return guarded(table, created, exception, [&] {
        const Logger nativeLogger = logger == nullptr ? nullptr : *static_cast<const Logger*>(logger);
        return createClient(nativeLogger, {table, client});
    });
}
