#pragma once

#include "platform/posix/winhttp/HttpHandle.h"

#include <string>

namespace LumPlatform {

/// A handle that others are opened below. It is closed for its callback when the caller has closed it and those below
/// it.
class HttpParentHandle : public HttpHandle {
public:
    void AddChild();
    void RemoveChild();
    void Close() override;

private:
    void NotifyIfClosed();

    std::size_t children = 0;
    bool isClosing = false;
};

class HttpSession : public HttpParentHandle {};

/// A server, as a session names it; nothing is connected yet.
class HttpConnection : public HttpParentHandle {
public:
    /// The host is UTF-8; the port 0 stands for the scheme's default.
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
