#pragma once

namespace LumTests {

/// Looks a name up whose server never answers. True if requests to other servers go on meanwhile, and the request fails
/// by its own time-out.
bool goOnWhileANameIsLookedUp();

/// Ends the process in the middle of such a look-up: returns from main are to follow. A signal ends the process if its
/// end is held up.
void leaveWhileANameIsLookedUp();

} // namespace LumTests
