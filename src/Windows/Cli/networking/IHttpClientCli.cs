using System.Collections.Generic;

namespace LumNetworkingCli
{
    /// <summary>An HTTP client that the host supplies: one blocking request.</summary>
    /// <remarks>
    /// The library calls it on threads of its own, one thread for each request, so several calls may be in progress at
    /// once on one object: an implementation must accept concurrent calls.
    /// </remarks>
    public interface IHttpClientCli
    {
        /// <summary>Sends one request and waits for its response, as long as that takes.</summary>
        /// <param name="method">"GET", "POST", "PUT", "PATCH" or "DELETE".</param>
        /// <param name="requestUrl">The whole URL: scheme, host, port if there is one, path and query.</param>
        /// <param name="headers">
        /// The request's headers by name, in a dictionary that was made for this call. Never null, possibly empty.
        /// </param>
        /// <param name="payload">The request's body, or null if it is empty; always null for GET and DELETE.</param>
        /// <returns>
        /// The response, whatever its status: a status that is no success is still a response. Its
        /// <see cref="HttpResponseCli.Body"/> must not be null.
        /// </returns>
        /// <exception cref="System.Exception">
        /// Any exception fails the request: the library logs its message and completes the request with an error. It is
        /// never thrown back into the host.
        /// </exception>
        HttpResponseCli SendAndGetResponse(string method, string requestUrl, Dictionary<string, string> headers,
                                           string? payload);
    }
}
