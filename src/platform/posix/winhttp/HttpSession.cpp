#include "platform/posix/winhttp/HttpSession.h"

namespace LumPlatform {

void HttpParentHandle::AddChild()
{
    const std::lock_guard<std::mutex> lock(mutex);
    ++children;
}

void HttpParentHandle::RemoveChild()
{
    const std::lock_guard<std::mutex> lock(mutex);
    --children;
    NotifyIfClosed();
}

void HttpParentHandle::Close()
{
    const std::lock_guard<std::mutex> lock(mutex);
    isClosing = true;
    NotifyIfClosed();
}

void HttpParentHandle::NotifyIfClosed()
{
    if (isClosing && children == 0) {
        Notify({WINHTTP_CALLBACK_STATUS_HANDLE_CLOSING, 0});
    }
}

HttpConnection::HttpConnection(std::shared_ptr<HttpSession> openSession, std::string hostName, INTERNET_PORT portNumber)
    : session(std::move(openSession)), host(std::move(hostName)), port(portNumber)
{
    InheritCallback(*session);
    session->AddChild();
    NotifyLazily({WINHTTP_CALLBACK_STATUS_HANDLE_CREATED, 0});
}

void HttpConnection::OnClosed()
{
    session->RemoveChild();
}

} // namespace LumPlatform
