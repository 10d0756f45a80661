#pragma once

#include <memory>
#include <string>

namespace LumTests {

/// While this lives the system trusts the authority whose certificate is in the PEM file.
///
/// On Linux for this process alone, which gets a view of the file system of its own, in which the system's store is
/// another file; that view stays. On Windows for all of the user's processes, by the user's store of root certificates.
/// To be made before the first request, while there is one thread. Throws if the system does not allow it.
class TrustedAuthority {
public:
    explicit TrustedAuthority(const std::string& certificateFile);
    ~TrustedAuthority();
    TrustedAuthority(const TrustedAuthority&) = delete;
    TrustedAuthority& operator=(const TrustedAuthority&) = delete;

private:
    struct System;
    std::unique_ptr<System> system;
};

} // namespace LumTests
