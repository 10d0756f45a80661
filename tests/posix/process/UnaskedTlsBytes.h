#pragma once

namespace LumTests {

/// Has a TLS server send an answer too many on a kept connection. True if the next request gets its own.
bool keepUnaskedTlsBytesFromTheNextRequest();

} // namespace LumTests
