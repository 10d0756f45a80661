#pragma once

namespace LumTests {

/// The functions that the library exports for its managed half.
constexpr const char* kBoundaryFunctions[] = {
    "LumCliGetAbiVersion",
    "LumCliGetPointerBits",
    "LumCliGetLibraryVersion",
    "LumCliCreateSocksClientWithManagedLogger",
    "LumCliCreateSocksClientWithNativeLogger",
    "LumCliCreateGate",
    "LumCliCloseGate",
    "LumCliReceiveStatus",
    "LumCliReceiveBody",
    "LumCliReceiveHeader",
    "LumCliReceiveMessage",
};

} // namespace LumTests
