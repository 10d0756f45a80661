#pragma once

namespace LumUtils {

/// Keeps the module of this code loaded to the end of the process: for code that is still to be run when a host has
/// closed the library. May be called on any thread, and as often as wanted.
void pinModule();

} // namespace LumUtils
