#include "platform/posix/winhttp/HttpSession.h"

namespace LumPlatform {

bool HttpParentHandle::AddChild()
{
    std::size_t count = holders.load();
    while (count > 0) {
        if (holders.compare_exchange_weak(count, count + 1)) {
            return true;
        }
    }
    return false;
}

void HttpParentHandle::RemoveChild()
{
    if (--holders == 0) {
        const std::lock_guard<std::mutex> lock(mutex);
        NotifyClosing(0);
    }
}

void HttpParentHandle::OnChildClosed()
{
    if (--holders == 0) {
        DeliverClosing();
    }
}

void HttpParentHandle::Close()
{
    // The caller holds the handle like a child.
    RemoveChild();
}

HttpConnection::HttpConnection(std::shared_ptr<HttpSession> openSession, std::string hostName, INTERNET_PORT portNumber)
    : HttpParentHandle(Kind::Connection), session(std::move(openSession)), host(std::move(hostName)), port(portNumber)
{
    InheritCallback(*session);
}

void HttpConnection::OnClosed()
{
    session->OnChildClosed();
}

} // namespace LumPlatform
