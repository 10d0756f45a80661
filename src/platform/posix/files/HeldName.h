#pragma once

#include "platform/posix/files/ShareMode.h"

#include <optional>
#include <string>

namespace LumPlatform {

/// A path whose file keeps the name, and is opened by nobody, while the object lives, so that the name can be taken
/// away: by deleting or renaming.
///
///     HeldName name("/data/state.bin");
///     if (name.Error() == 0) { unlink("/data/state.bin"); }
///
/// Only regular files are held. What this user may neither read nor write, or another process has a lease on, is not; a
/// link is a name of its own, whatever it leads to.
class HeldName {
public:
    explicit HeldName(const std::string& path);
    ~HeldName();
    HeldName(const HeldName&) = delete;
    HeldName& operator=(const HeldName&) = delete;

    /// 0 if the name may be taken away. EBUSY: somebody has the file open; else why the path leads to nothing.
    int Error() const { return error; }

    /// Of the file that is held, else -1.
    int Descriptor() const { return descriptor; }

private:
    /// Holds what the path names at the moment. ESTALE if it has come to name something else.
    int Hold(const std::string& path);
    void LetGo();

    int descriptor = -1;
    std::optional<ShareMode::Deletion> deletion;
    int error = 0;
};

} // namespace LumPlatform
