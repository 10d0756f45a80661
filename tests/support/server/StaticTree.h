#pragma once

#include <filesystem>

namespace LumTestServer {

/// Fills a folder with what nginx serves:
///
/// | path        | content                                               |
/// |-------------|-------------------------------------------------------|
/// | /licenses/  | the system's folder of license texts                  |
/// | /empty.bin  | 0 bytes                                               |
/// | /one.bin    | 1 byte                                                |
/// | /small.bin  | 32 bytes                                              |
/// | /medium.bin | 64 KiB                                                |
/// | /large.bin  | 256 MiB of NULs, which take no space on the disk      |
///
/// /seen says which of some headers the request had. The https servers redirect /to-http to http, and /to-same-port to
/// http at their own port, where they answer as /seen. Where not said otherwise the bytes are those of BodyPattern.h.
void makeStaticTree(const std::filesystem::path& root);

} // namespace LumTestServer
