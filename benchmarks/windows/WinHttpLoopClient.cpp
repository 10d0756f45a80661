#include "WinHttpLoopClient.h"

#include "LoadTally.h"

#include <condition_variable>
#include <mutex>
#include <stdexcept>
#include <vector>

namespace LumBench {

namespace {

using Handle = WinHttpLoopClient::Handle;

constexpr const wchar_t* kHost = L"127.0.0.1";

/// Waits until so many chains of requests have ended.
class OpenChains {
public:
    explicit OpenChains(std::size_t newCount) : count(newCount) {}

    void CloseOne()
    {
        const std::lock_guard<std::mutex> lock(mutex);
        if (--count == 0) {
            allClosed.notify_all();
        }
    }

    void WaitForAll()
    {
        std::unique_lock<std::mutex> lock(mutex);
        allClosed.wait(lock, [this] { return count == 0; });
    }

private:
    std::mutex mutex;
    std::condition_variable allClosed;
    std::size_t count;
};

void CALLBACK onStatus(HINTERNET handle, DWORD_PTR context, DWORD status, LPVOID information, DWORD length);

Handle openSession()
{
    constexpr DWORD kNotifications = WINHTTP_CALLBACK_FLAG_ALL_COMPLETIONS | WINHTTP_CALLBACK_FLAG_HANDLES;
    Handle session(WinHttpOpen(nullptr, WINHTTP_ACCESS_TYPE_AUTOMATIC_PROXY, WINHTTP_NO_PROXY_NAME,
                               WINHTTP_NO_PROXY_BYPASS, WINHTTP_FLAG_ASYNC));
    WinHttpSetStatusCallback(session.get(), onStatus, kNotifications, 0);
    return session;
}

Handle openConnection(const Handle& session, INTERNET_PORT port)
{
    return Handle(WinHttpConnect(session.get(), kHost, port, 0));
}

/// One request after the other until the load's time is over.
class RequestChain {
public:
    /// Without a connection each request opens a session and a connection for itself.
    RequestChain(INTERNET_PORT newPort, HINTERNET newSharedConnection, const std::string& newPath, LoadTally& newTally,
                 OpenChains& newOpenChains)
        : port(newPort), sharedConnection(newSharedConnection), path(newPath.begin(), newPath.end()), tally(newTally),
          openChains(newOpenChains)
    {
    }

    void Start()
    {
        if (!Send()) {
            Fail();
        }
    }

    void OnSendComplete()
    {
        if (!WinHttpReceiveResponse(request.get(), nullptr)) {
            Fail();
        }
    }

    void OnHeaders()
    {
        if (!ReadStatus() || !ReadHeaders() || !WinHttpQueryDataAvailable(request.get(), nullptr)) {
            Fail();
        }
    }

    void OnDataAvailable(DWORD count)
    {
        if (count == 0) {
            Finish();
            return;
        }
        const std::size_t before = response.body.size();
        response.body.resize(before + count);
        if (!WinHttpReadData(request.get(), &response.body[before], count, nullptr)) {
            Fail();
        }
    }

    void OnRead()
    {
        if (!WinHttpQueryDataAvailable(request.get(), nullptr)) {
            Fail();
        }
    }

    void Fail()
    {
        tally.CountFailure();
        CloseHandles();
        openChains.CloseOne();
    }

private:
    struct Response {
        DWORD status = 0;
        std::wstring headers;
        std::string body;
    };

    bool Send()
    {
        response = Response();
        HINTERNET usedConnection = sharedConnection;
        if (usedConnection == nullptr) {
            session = openSession();
            connection = openConnection(session, port);
            usedConnection = connection.get();
        }
        request.reset(WinHttpOpenRequest(usedConnection, L"GET", path.c_str(), nullptr, WINHTTP_NO_REFERER,
                                         WINHTTP_DEFAULT_ACCEPT_TYPES, WINHTTP_FLAG_REFRESH));
        return SetOption(WINHTTP_OPTION_CONNECT_TIMEOUT, 30000) &&
               SetOption(WINHTTP_OPTION_REDIRECT_POLICY, WINHTTP_OPTION_REDIRECT_POLICY_ALWAYS) &&
               WinHttpSendRequest(request.get(), WINHTTP_NO_ADDITIONAL_HEADERS, 0, WINHTTP_NO_REQUEST_DATA, 0, 0,
                                  reinterpret_cast<DWORD_PTR>(this));
    }

    bool SetOption(DWORD option, DWORD value)
    {
        return WinHttpSetOption(request.get(), option, &value, sizeof(value)) != FALSE;
    }

    bool ReadStatus()
    {
        DWORD size = sizeof(response.status);
        return WinHttpQueryHeaders(request.get(), WINHTTP_QUERY_STATUS_CODE | WINHTTP_QUERY_FLAG_NUMBER,
                                   WINHTTP_HEADER_NAME_BY_INDEX, &response.status, &size,
                                   WINHTTP_NO_HEADER_INDEX) != FALSE;
    }

    bool ReadHeaders()
    {
        DWORD size = 0;
        QueryHeaders(nullptr, size);
        response.headers.resize(size / sizeof(wchar_t));
        return QueryHeaders(response.headers.data(), size);
    }

    bool QueryHeaders(wchar_t* buffer, DWORD& size)
    {
        return WinHttpQueryHeaders(request.get(), WINHTTP_QUERY_RAW_HEADERS_CRLF, WINHTTP_HEADER_NAME_BY_INDEX, buffer,
                                   &size, WINHTTP_NO_HEADER_INDEX) != FALSE;
    }

    void Finish()
    {
        tally.Count(static_cast<long>(response.status), response.body.size());
        CloseHandles();
        if (tally.IsOver()) {
            openChains.CloseOne();
        } else {
            Start();
        }
    }

    void CloseHandles()
    {
        request.reset();
        connection.reset();
        session.reset();
    }

    const INTERNET_PORT port;
    const HINTERNET sharedConnection;
    const std::wstring path;
    LoadTally& tally;
    OpenChains& openChains;
    Handle session;
    Handle connection;
    Handle request;
    Response response;
};

/// A chain may be gone when its last handle's closing is notified, so only the steps of a request touch it.
void CALLBACK onStatus(HINTERNET /*handle*/, DWORD_PTR context, DWORD status, LPVOID information, DWORD /*length*/)
{
    auto* const chain = reinterpret_cast<RequestChain*>(context);
    switch (status) {
    case WINHTTP_CALLBACK_STATUS_SENDREQUEST_COMPLETE:
        chain->OnSendComplete();
        break;
    case WINHTTP_CALLBACK_STATUS_HEADERS_AVAILABLE:
        chain->OnHeaders();
        break;
    case WINHTTP_CALLBACK_STATUS_DATA_AVAILABLE:
        chain->OnDataAvailable(*static_cast<const DWORD*>(information));
        break;
    case WINHTTP_CALLBACK_STATUS_READ_COMPLETE:
        chain->OnRead();
        break;
    case WINHTTP_CALLBACK_STATUS_REQUEST_ERROR:
        chain->Fail();
        break;
    default:
        break;
    }
}

INTERNET_PORT portOf(const std::string& baseUrl)
{
    return static_cast<INTERNET_PORT>(std::stoul(baseUrl.substr(baseUrl.rfind(':') + 1)));
}

} // namespace

WinHttpLoopClient::WinHttpLoopClient(Sessions newSessions, const std::string& baseUrl)
    : sessions(newSessions), port(portOf(baseUrl))
{
    if (sessions == Sessions::One) {
        session = openSession();
        connection = openConnection(session, port);
        if (!connection) {
            throw std::runtime_error("there is no session: " + std::to_string(GetLastError()));
        }
    }
}

void WinHttpLoopClient::Run(const Load& load, LoadTally& tally)
{
    OpenChains openChains(load.concurrency);
    std::vector<std::unique_ptr<RequestChain>> chains;
    for (std::size_t index = 0; index < load.concurrency; ++index) {
        chains.push_back(std::make_unique<RequestChain>(port, connection.get(), load.path, tally, openChains));
        chains.back()->Start();
    }
    openChains.WaitForAll();
}

} // namespace LumBench
