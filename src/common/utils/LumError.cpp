#include "common/utils/LumError.h"

#include <nlohmann/json.hpp>

#include <locale>
#include <sstream>

namespace LumUtils {

const std::string LumErrorUnderlyingErrorCode = "LumErrorUnderlyingErrorCode";
const std::string LumErrorUnderlyingErrorDescription = "LumErrorUnderlyingErrorDescription";
const std::string LumErrorUnderlyingErrorObject = "LumErrorUnderlyingErrorObject";

namespace {

std::string doubleText(double value)
{
    std::ostringstream stream;
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
    if (const auto* literal = std::any_cast<const char*>(&value)) {
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

/// Adds the value to the object under the key, or nothing where the value's type has no JSON form.
void addJsonMember(nlohmann::json& object, const std::string& key, const std::any& value)
{
    if (const auto* number = std::any_cast<int>(&value)) {
        object[key] = *number;
    } else if (const auto* text = std::any_cast<std::string>(&value)) {
        object[key] = *text;
    } else if (const auto* literal = std::any_cast<const char*>(&value)) {
        object[key] = *literal;
    } else if (const auto* real = std::any_cast<double>(&value)) {
        object[key] = *real;
    } else if (const auto* flag = std::any_cast<bool>(&value)) {
        object[key] = *flag;
    }
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
    std::ostringstream stream;
    // The code goes in as text: a global locale with digit grouping must not reach it.
    stream << "Domain: " << domain << ", Code: " << std::to_string(code) << ", UserInfo: {";
    for (const auto& [key, value] : userInfo) {
        stream << key << ": " << valueText(value) << ", ";
    }
    std::string text = stream.str();
    if (!userInfo.empty()) {
        text.resize(text.size() - 2);
    }
    return text + "}";
}

std::string LumError::toJson() const
{
    nlohmann::json object;
    object["domain"] = domain;
    object["code"] = code;
    object["description"] = getDescription();
    object["userInfo"] = nlohmann::json::object();
    for (const auto& [key, value] : userInfo) {
        addJsonMember(object["userInfo"], key, value);
    }
    return object.dump();
}

std::unique_ptr<ILumError> LumError::clone() const
{
    return std::make_unique<LumError>(domain, code, userInfo);
}

} // namespace LumUtils
