#pragma once

namespace LumFetch {

/// Fetches from a web server of this program's own. True if all came out as expected.
bool RunDemo();

} // namespace LumFetch
