#include "common/utils/LumError.h"

#include "common/utils/LumErrorNames.h"

#include <locale>
#include <sstream>

namespace LumUtils {

const std::string LumErrorUnderlyingErrorCode = LumErrorNames::kUnderlyingErrorCode;
const std::string LumErrorUnderlyingErrorDescription = LumErrorNames::kUnderlyingErrorDescription;
const std::string LumErrorUnderlyingErrorObject = LumErrorNames::kUnderlyingErrorObject;

namespace {

std::string doubleText(double value)
{
    std::ostringstream stream;
    // A stream would else keep a failed allocation to itself and lose the text.
    stream.exceptions(std::ios_base::badbit);
    // An error reads the same whatever locale the host has set.
    stream.imbue(std::locale::classic());
    stream << value;
    return stream.str();
}

std::string valueText(const std::any& value)
{
    if (const auto* text = std::any_cast<std::string>(&value)) {
        return *text;
    }
    if (const auto* literal = std::any_cast<const char*>(&value); literal != nullptr && *literal != nullptr) {
        return *literal;
    }
    if (const auto* number = std::any_cast<int>(&value)) {
        return std::to_string(*number);
    }
    if (const auto* real = std::any_cast<double>(&value)) {
        return doubleText(*real);
    }
    if (const auto* flag = std::any_cast<bool>(&value)) {
        return *flag ? "true" : "false";
    }
    return "unsupported type";
}

} // namespace

LumError::LumError(const std::string& errorDomain, int errorCode) : domain(errorDomain), code(errorCode) {}

LumError::LumError(const std::string& errorDomain, int errorCode, const std::map<std::string, std::any>& errorUserInfo)
    : domain(errorDomain), code(errorCode), userInfo(errorUserInfo)
{
}

const std::string& LumError::getDomain() const
{
    return domain;
}

int LumError::getCode() const
{
    return code;
}

const std::map<std::string, std::any>& LumError::getUserInfo() const
{
    return userInfo;
}

std::string LumError::getDescription() const
{
    std::string text = "Domain: " + domain + ", Code: " + std::to_string(code) + ", UserInfo: {";
    for (const auto& [key, value] : userInfo) {
        text += key;
        text += ": ";
        text += valueText(value);
        text += ", ";
    }
    if (!userInfo.empty()) {
        text.resize(text.size() - 2);
    }
    return text + "}";
}

std::unique_ptr<ILumError> LumError::clone() const
{
    return std::make_unique<LumError>(domain, code, userInfo);
}

} // namespace LumUtils
