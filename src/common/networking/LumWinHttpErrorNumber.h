#pragma once

namespace LumNetworking {

/// The platform's numbers that a failed request of WinHttpClientAsync carries, by name; LumUtils::platformErrorNumber
/// reads them. The numbers are WinHTTP's and the system's, on Linux too.
///
///     using namespace LumNetworking;
///     const std::optional<int> number = LumUtils::platformErrorNumber(*error);
///     if (number == LumWinHttpErrorNumber::kCannotConnect || number == LumWinHttpErrorNumber::kTimeout) {
///         retryLater();
///     }
///
/// On Linux there are no others. On Windows WinHTTP may report more of its own, and the number of a request that failed
/// after it was sent (code 13) is what WinHTTP left as the last error of the thread that it notified: treat a number
/// that is not listed here as a failure of unknown cause. Failed requests of the SOCKS client carry no number.
namespace LumWinHttpErrorNumber {

/// The process has no memory for the request or its response. Free memory, or ask for less.
constexpr int kNotEnoughMemory = 8;

/// With code 6: the host or the path holds a NUL, or the port is above 65535. With code 7: a header's name is no token
/// (RFC 9110, section 5.6.2), its value holds CR, LF or NUL or is made of vertical tabs and form feeds only, or headers
/// or body are 4 GiB or longer. Correct the request; it fails every time.
constexpr int kInvalidParameter = 87;

/// The host, the path (code 6) or a header's value (code 7) is not valid UTF-8. Correct the request.
constexpr int kNoUnicodeTranslation = 1113;

/// No connection came about within the request's time-out, or a later step took longer than the platform waits. Try
/// again later. A request other than a GET may have reached the server: ask it before repeating one.
constexpr int kTimeout = 12002;

/// The platform failed in a way that it has no number for, or the logger delegate threw while the response arrived.
constexpr int kInternalError = 12004;

/// The server's or the proxy's name has no address: it is misspelt, or the name service cannot be reached.
constexpr int kNameNotResolved = 12007;

/// Requests cannot be made any more: the process is a copy (fork) of the one that made the client. Start a program
/// instead.
constexpr int kShutdown = 12012;

/// The server or the proxy refused the connection, or cannot be reached. Nothing was sent: the request may be repeated.
constexpr int kCannotConnect = 12029;

/// The connection ended before the response was complete. As with kTimeout, the server may have acted on the request.
constexpr int kConnectionError = 12030;

/// What the server sent is not HTTP, or more than is taken in. Repeating the request does not help.
constexpr int kInvalidServerResponse = 12152;

/// There were more than ten redirects, or one that leads to neither http nor https. Start the request without following
/// redirects to see where the first one leads.
constexpr int kRedirectFailed = 12156;

/// The TLS handshake failed: server and client have no protocol or cipher in common, or the port speaks no TLS.
constexpr int kSecureChannelError = 12157;

/// The server's certificate is not good: it has expired, is for another name, or its authority is not trusted by the
/// system. Do not send anything to that server; there is no option to go on.
constexpr int kSecureFailure = 12175;

} // namespace LumWinHttpErrorNumber

} // namespace LumNetworking
