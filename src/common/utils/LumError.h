#pragma once

#include "common/utils/ILumError.h"

namespace LumUtils {

/// User-information key; an int: the platform's error number that caused the error (Win32, WinHTTP or errno).
extern const std::string LumErrorUnderlyingErrorCode;

/// User-information key; a std::string: the platform's message for that number.
extern const std::string LumErrorUnderlyingErrorDescription;

/// User-information key; a std::string: a serialised object that could not be turned into an error.
extern const std::string LumErrorUnderlyingErrorObject;

/// The library's concrete error.
///
///     std::map<std::string, std::any> userInfo;
///     userInfo[LumUtils::LumErrorUnderlyingErrorCode] = 12029;
///     const LumUtils::LumError error("com.corvan.clientlibs.liblumnetworking.error", 13, userInfo);
///
/// User information may hold std::string, const char* (the pointer is stored: use it for literals only), int, double
/// and bool. A value of another type, or a null const char*, may be stored, but is not rendered.
///
/// Construction and copying fail only by allocation failure, which propagates as std::bad_alloc.
class LumError : public ILumError {
public:
    /// An error with an empty domain, code 0 and no user information.
    LumError() = default;

    LumError(const std::string& errorDomain, int errorCode);
    LumError(const std::string& errorDomain, int errorCode, const std::map<std::string, std::any>& errorUserInfo);

    LumError(const LumError& other) = default;
    LumError(LumError&& other) = default;
    ~LumError() override = default;

    /// Without the memory for a copy of the other this error stays as it is.
    LumError& operator=(const LumError& other) { return *this = LumError(other); }
    LumError& operator=(LumError&& other) = default;

    /// The error of a JSON text (UTF-8), as toJson writes it:
    ///
    ///     const auto copy = LumUtils::LumError::fromJson(error.toJson());
    ///
    /// Absent members read as the empty domain, code 0 and no user information; "description" is not read. In the user
    /// information numbers become int or double, texts std::string, and truth values bool; null, objects and arrays are
    /// left out. An integer beyond int keeps its low 32 bits, a code with a fraction loses it, and such a code beyond
    /// int is the smallest int. Of several members with one name the last counts. The text may be nested to any depth.
    ///
    /// Never empty. A text that cannot be read gives the error with the domain "com.corvan.utils.errordomain" and the
    /// code -1, which holds the text under LumErrorUnderlyingErrorObject. If the text is no JSON or a member has the
    /// wrong type, one line on the standard error stream says so ("JSON error: ..."); JSON that is no object is not
    /// reported. Throws std::bad_alloc, and nothing else. Any thread may call it.
    static std::unique_ptr<ILumError> fromJson(const std::string& json);

    const std::string& getDomain() const override;
    int getCode() const override;
    const std::map<std::string, std::any>& getUserInfo() const override;
    std::string getDescription() const override;
    std::string toJson() const override;
    std::unique_ptr<ILumError> clone() const override;

private:
    std::string domain;
    int code = 0;
    std::map<std::string, std::any> userInfo;
};

} // namespace LumUtils
