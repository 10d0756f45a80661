#pragma once

/// The binary interface between the managed and the native half of the boundary.
///
/// The managed half calls the functions at the end of this header. With each object it hands over a table of functions,
/// through which the native half calls back; the native half keeps nothing but what was handed over with the object.
///
///     LumCliStatus status = LumCliCreateSocksClientWithManagedLogger(&table, logger, client, &created, &exception);
///
/// Calling convention: cdecl everywhere, also on 32 bits. Numbers have fixed widths. Structures are laid out with the
/// natural alignment of their members, in order ("sequential" to a managed compiler). Every function may be called on
/// any thread, and several at once.
///
/// Texts are UTF-16, given by address and number of code units. They may hold NULs and are not terminated. A null text
/// has the address null; an empty one has an address and the length 0. A text belongs to the caller and lives for the
/// call.
///
/// Handles. A handle is a number that keeps one managed object alive (a strong, not pinned garbage-collector handle as
/// an integer). 0 stands for the null reference, and is legal wherever a handle is. Handles that one half gives to the
/// other as a parameter are lent for the call: the native half duplicates those that it keeps. Handles that come back
/// as a result or through an address belong to the receiver, which releases each exactly once.
///
/// Exceptions never cross a frame of the other half. A function of the table catches everything, within one `try` that
/// begins before it resolves its handles, and returns a handle to the exception, or 0 when all went well. A function of
/// the library catches everything and returns it as a status with such a handle; the managed half then throws that very
/// object, with its own stack, and releases the handle.

#include "platform/LumPlatform.h"

#include <cstdint>

/// Raised by one when a structure, a function or its meaning changes.
constexpr std::uint32_t kLumCliAbiVersion = 2;

using LumCliChar = WCHAR;
static_assert(sizeof(LumCliChar) == 2, "texts are UTF-16");

using LumCliHandle = std::intptr_t;

struct LumCliText {
    const LumCliChar* text;
    std::int32_t length;
};

struct LumCliHeader {
    LumCliText name;
    LumCliText value;
};

/// One HTTP request. The payload is null where there is no body. Headers are in ascending order of their names as the
/// native half has them, and no name occurs twice.
struct LumCliRequest {
    LumCliText method;
    LumCliText url;
    LumCliText payload;
    const LumCliHeader* headers;
    std::int32_t headerCount;
};

/// One log record. Levels: 0 fatal, 1 error, 2 warning, 3 info, 4 verbose, 5 AOL; a record of any other is ignored.
struct LumCliLogRecord {
    std::int32_t level;
    std::uint32_t line;
    LumCliText file;
    LumCliText function;
    LumCliText message;
};

/// The exceptions that the native half lets the managed half make. The runtime composes their messages.
enum LumCliExceptionKind : std::int32_t {
    /// System.ArgumentNullException; the text is the name of the parameter.
    kLumCliArgumentNull = 1,
    /// System.ArgumentOutOfRangeException; the text is the name of the parameter.
    kLumCliArgumentOutOfRange = 2,
    /// System.ArgumentException; the text is the message.
    kLumCliArgument = 3,
    /// System.InsufficientMemoryException; the text is null.
    kLumCliInsufficientMemory = 4,
    /// System.OutOfMemoryException; the text is null.
    kLumCliOutOfMemory = 5,
    /// System.Runtime.InteropServices.ExternalException, for a native exception; the text is the message.
    kLumCliExternal = 6
};

/// Where a response goes; see LumCliReceiveStatus. It lives for the call that it was given to.
struct LumCliResponseReceiver;

/// Where a message goes; see LumCliReceiveMessage. It lives for the call that it was given to.
struct LumCliMessageReceiver;

/// Through which the calls into a managed half go that may end before the process does; see LumCliCreateGate.
struct LumCliGate;

/// What the managed half hands over. It, and the functions in it, must live as long as the process: native objects and
/// their threads use them until they end. A managed half that cannot promise that, as its application domain may be
/// unloaded, has a gate, and closes it first; the table and the gate live on. No function may be null.
struct LumCliHostTable {
    /// sizeof(LumCliHostTable) as the managed half knows it.
    std::uint32_t size;
    /// kLumCliAbiVersion as the managed half knows it.
    std::uint32_t version;

    /// Makes another handle to the same object. On failure `*duplicate` is left at 0.
    LumCliHandle(LUM_CDECL* duplicateHandle)(LumCliHandle handle, LumCliHandle* duplicate);

    /// Ends a handle. It cannot fail, and does nothing for 0.
    void(LUM_CDECL* releaseHandle)(LumCliHandle handle);

    /// IHttpClientCli.SendAndGetResponse. The dictionary is new for each call and never null. Afterwards the response
    /// goes to the receiver in this order: status, body, then the header lines in list order, if there is a list. When
    /// a receiving function returns something else than 0 it stops and returns 0: the receiver knows what went wrong.
    LumCliHandle(LUM_CDECL* sendAndGetResponse)(LumCliHandle client, const LumCliRequest* request,
                                                LumCliResponseReceiver* receiver);

    /// ISocksHttpClientCli.SetSocksParameters.
    LumCliHandle(LUM_CDECL* setSocksParameters)(LumCliHandle client, const LumCliText* staTicket,
                                                const LumCliText* socksServerUrl);

    /// The operation of ILumUtilsLoggerDelegateCli for the record's level.
    LumCliHandle(LUM_CDECL* log)(LumCliHandle logger, const LumCliLogRecord* record);

    /// Makes an exception of a LumCliExceptionKind. 0 if that is impossible.
    LumCliHandle(LUM_CDECL* createException)(std::int32_t kind, const LumCliText* text);

    /// System.Exception.Message of the exception, null included, goes to the receiver. If reading it throws, the result
    /// is a handle to what it threw.
    LumCliHandle(LUM_CDECL* getExceptionMessage)(LumCliHandle exception, LumCliMessageReceiver* receiver);

    /// Null where the functions live as long as the process.
    LumCliGate* gate;
};

/// How a function of the library ended.
enum LumCliStatus : std::int32_t {
    kLumCliOk = 0,
    /// A managed exception is to be thrown; its handle is in `*exception`.
    kLumCliException = 1,
    /// There was not even memory for an exception: System.OutOfMemoryException is to be thrown.
    kLumCliNoMemory = 2,
    /// The table is of another version; nothing of it was called.
    kLumCliOtherVersion = 3
};

extern "C" {

/// kLumCliAbiVersion of the library.
LUM_EXPORT std::uint32_t LUM_CDECL LumCliGetAbiVersion();

/// The width of an address in the library: 32 or 64.
LUM_EXPORT std::int32_t LUM_CDECL LumCliGetPointerBits();

/// The library's version, for example "0.1.0", in ASCII with a terminating NUL; it lives as long as the library.
LUM_EXPORT const char* LUM_CDECL LumCliGetLibraryVersion();

/// SocksHttpClientFactory.CreateAsynchronousHttpClientWithSocksProxy with a managed logger. On kLumCliOk `*created` is
/// the address of a new LumNetworking::ILumAsynchronousHttpClient, to be deleted by whoever adopts it. On any other
/// status it is null and nothing is kept. kLumCliException brings, besides what the managed logger throws:
/// - System.ArgumentNullException naming "socksHttpClientCli" for the client 0;
/// - System.OutOfMemoryException and System.Runtime.InteropServices.ExternalException for native exceptions.
/// The logger 0 is wrapped like any other: the creation message is then logged to it.
LUM_EXPORT std::int32_t LUM_CDECL LumCliCreateSocksClientWithManagedLogger(const LumCliHostTable* table,
                                                                           LumCliHandle logger, LumCliHandle client,
                                                                           void** created, LumCliHandle* exception);

/// The same with a native logger: the address of a std::shared_ptr<LumUtils::ILumUtilsLoggerDelegate>, which is copied.
/// An empty one, or the address null, brings System.ArgumentNullException naming "logger", before the client is looked
/// at. Of the table only the version is looked at before the logger.
LUM_EXPORT std::int32_t LUM_CDECL LumCliCreateSocksClientWithNativeLogger(const LumCliHostTable* table,
                                                                          const void* logger, LumCliHandle client,
                                                                          void** created, LumCliHandle* exception);

/// A new gate, open. It belongs to the process and is never given back; null if there is no memory for it.
LUM_EXPORT LumCliGate* LUM_CDECL LumCliCreateGate();

/// Lets no call into the managed half from now on, and waits so long for those that are inside. Returns how many still
/// are; with 0 its functions are never called again. In place of a refused call a request fails, a record is dropped,
/// and a handle is forgotten: it has gone with its domain. May be called again, to go on waiting.
LUM_EXPORT std::int32_t LUM_CDECL LumCliCloseGate(LumCliGate* gate, std::int32_t milliseconds);

/// Take one response, each text converted to native text at once. The result is 0, or something else after which
/// nothing more must be given. A null body or line counts as a failure of the request, not of the caller.
LUM_EXPORT std::int32_t LUM_CDECL LumCliReceiveStatus(LumCliResponseReceiver* receiver, std::int32_t statusCode);
LUM_EXPORT std::int32_t LUM_CDECL LumCliReceiveBody(LumCliResponseReceiver* receiver, const LumCliChar* text,
                                                    std::int32_t length);
LUM_EXPORT std::int32_t LUM_CDECL LumCliReceiveHeader(LumCliResponseReceiver* receiver, const LumCliChar* text,
                                                      std::int32_t length);

/// Takes the message of an exception.
LUM_EXPORT std::int32_t LUM_CDECL LumCliReceiveMessage(LumCliMessageReceiver* receiver, const LumCliChar* text,
                                                       std::int32_t length);

} // extern "C"
