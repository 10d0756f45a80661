#pragma once

#include "platform/posix/winhttp/HttpHandle.h"

#include <string>

namespace LumPlatform {

/// A handle that others are opened below. It is closed for its callback when the caller has closed it and those below
/// it.
class HttpParentHandle : public HttpHandle {
public:
    using HttpHandle::HttpHandle;

    /// Keeps the handle from being closed for its callback; false if it is too late for that.
    bool AddChild();

    /// A child was not opened after all.
    void RemoveChild();

    /// A child has had its last notification, on this thread.
    void OnChildClosed();

    void Close() override;

private:
    /// The caller, until it has closed the handle, and the children.
    std::atomic<std::size_t> holders{1};
};

class HttpSession : public HttpParentHandle {
public:
    HttpSession() : HttpParentHandle(Kind::Session) {}
};

/// A server, as a session names it; nothing is connected yet.
class HttpConnection : public HttpParentHandle {
public:
    /// Counted as a child of the session by whoever opens it. The host is UTF-8; the port 0 stands for the scheme's
    /// default.
    HttpConnection(std::shared_ptr<HttpSession> session, std::string host, INTERNET_PORT port);

    const std::string& Host() const { return host; }
    INTERNET_PORT Port() const { return port; }

protected:
    void OnClosed() override;

private:
    const std::shared_ptr<HttpSession> session;
    const std::string host;
    const INTERNET_PORT port;
};

} // namespace LumPlatform
