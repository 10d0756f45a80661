using System.Collections.Generic;
using System.Net;
using System.Runtime.InteropServices;

namespace LumNetworkingCli
{
    /// <summary>The response that a host's HTTP client returns.</summary>
    [StructLayout(LayoutKind.Sequential)]
    public struct HttpResponseCli
    {
        /// <summary>The status code.</summary>
        public HttpStatusCode HttpCode;

        /// <summary>
        /// The header lines, each "name: value". Null for none. Lines without a colon are skipped; white space around
        /// names and values is cut off; where a name repeats, its last line counts.
        /// </summary>
        public List<string>? Headers;

        /// <summary>
        /// The body as text. It must not be null: a null body fails the request.
        /// </summary>
        public string Body;
    }
}
