#include "platform/posix/winhttp/CurlErrors.h"

namespace LumPlatform {

DWORD winHttpError(CURLcode result)
{
    switch (result) {
    case CURLE_OK:
        return 0;
    case CURLE_OUT_OF_MEMORY:
    case CURLE_WRITE_ERROR:
        return ERROR_NOT_ENOUGH_MEMORY;
    case CURLE_URL_MALFORMAT:
        // All of the URL but the host is escaped: it is the host that cannot be one.
    case CURLE_COULDNT_RESOLVE_HOST:
    case CURLE_COULDNT_RESOLVE_PROXY:
        return ERROR_WINHTTP_NAME_NOT_RESOLVED;
    case CURLE_COULDNT_CONNECT:
    case CURLE_PROXY:
        return ERROR_WINHTTP_CANNOT_CONNECT;
    case CURLE_OPERATION_TIMEDOUT:
        return ERROR_WINHTTP_TIMEOUT;
    case CURLE_GOT_NOTHING:
    case CURLE_PARTIAL_FILE:
    case CURLE_RECV_ERROR:
    case CURLE_SEND_ERROR:
        return ERROR_WINHTTP_CONNECTION_ERROR;
    case CURLE_UNSUPPORTED_PROTOCOL:
    case CURLE_WEIRD_SERVER_REPLY:
    case CURLE_BAD_CONTENT_ENCODING:
    case CURLE_BAD_FUNCTION_ARGUMENT:
        // The last is what curl's own list of headers says of a line that it cannot take in.
        return ERROR_WINHTTP_INVALID_SERVER_RESPONSE;
    case CURLE_PEER_FAILED_VERIFICATION:
    case CURLE_SSL_INVALIDCERTSTATUS:
    case CURLE_SSL_ISSUER_ERROR:
        return ERROR_WINHTTP_SECURE_FAILURE;
    case CURLE_SSL_CONNECT_ERROR:
    case CURLE_SSL_CACERT_BADFILE:
    case CURLE_SSL_CIPHER:
    case CURLE_SSL_ENGINE_INITFAILED:
    case CURLE_USE_SSL_FAILED:
        return ERROR_WINHTTP_SECURE_CHANNEL_ERROR;
    default:
        return ERROR_WINHTTP_INTERNAL_ERROR;
    }
}

} // namespace LumPlatform
