#pragma once

namespace LumTests {

/// Sends and receives while signals interrupt the library's threads and the caller's. True if every request succeeds as
/// if there were none.
bool requestDuringSignals();

} // namespace LumTests
