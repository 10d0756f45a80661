#include "Windows/Cli/utils/ManagedException.h"

#include "Windows/Cli/utils/ManagedText.h"

#include <exception>
#include <new>
#include <utility>

struct LumCliMessageReceiver {
    const LumCliHostTable& host;
    std::string message;
    std::exception_ptr failure;
};

std::int32_t LUM_CDECL LumCliReceiveMessage(LumCliMessageReceiver* receiver, const LumCliChar* text,
                                            std::int32_t length)
{
    try {
        receiver->message = LumUtilsCli::toNativeText(receiver->host, {text, length});
        return 0;
    } catch (...) {
        receiver->failure = std::current_exception();
        return 1;
    }
}

namespace LumUtilsCli {

ManagedException::ManagedException(ManagedHandle exceptionHandle)
    : handle(std::make_shared<ManagedHandle>(std::move(exceptionHandle)))
{
}

std::string ManagedException::Message() const
{
    const LumCliHostTable& host = handle->Host();
    LumCliMessageReceiver receiver{host, {}, nullptr};
    callManaged(host, [&] { return host.getExceptionMessage(handle->Get(), &receiver); });
    if (receiver.failure) {
        std::rethrow_exception(receiver.failure);
    }
    return std::move(receiver.message);
}

void rethrowManaged(const LumCliHostTable& host, LumCliHandle exception)
{
    if (exception != 0) {
        throw ManagedException(ManagedHandle::Adopt(host, exception));
    }
}

void throwManaged(const LumCliHostTable& host, LumCliExceptionKind kind, const char* text)
{
    const ManagedText wide = text == nullptr ? ManagedText() : ManagedText::Decode(text);
    const LumCliText view = text == nullptr ? LumCliText{nullptr, 0} : wide.View();
    callManaged(host, [&] { return host.createException(kind, &view); });
    throw std::bad_alloc();
}

} // namespace LumUtilsCli
