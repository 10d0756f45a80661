#pragma once

/// The texts of the public constants of errors, which are strings that a static initialiser makes. A host's own global
/// objects may be made before them, so the library itself uses these.
namespace LumUtils::LumErrorNames {

constexpr const char* kDomain = "com.corvan.utils.errordomain";
constexpr const char* kNetworkingDomain = "com.corvan.clientlibs.liblumnetworking.error";
constexpr const char* kStorageDomain = "com.corvan.clientlibs.liblumstorage.error";

constexpr const char* kUnderlyingErrorCode = "LumErrorUnderlyingErrorCode";
constexpr const char* kUnderlyingErrorDescription = "LumErrorUnderlyingErrorDescription";
constexpr const char* kUnderlyingErrorObject = "LumErrorUnderlyingErrorObject";

} // namespace LumUtils::LumErrorNames
