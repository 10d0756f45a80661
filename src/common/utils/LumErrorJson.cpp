#include "common/utils/LumError.h"

#include "common/utils/LumErrorNames.h"

#include <nlohmann/json.hpp>

#include <climits>
#include <cstdint>
#include <iostream>
#include <new>
#include <optional>
#include <utility>

namespace LumUtils {

namespace {

using Json = nlohmann::json;

constexpr int kUnreadableCode = -1;

/// The JSON text of a dictionary's value, or none where its type has no JSON form.
std::optional<std::string> jsonText(const std::any& value)
{
    if (const auto* number = std::any_cast<int>(&value)) {
        return Json(*number).dump();
    }
    if (const auto* text = std::any_cast<std::string>(&value)) {
        return Json(*text).dump();
    }
    if (const auto* literal = std::any_cast<const char*>(&value); literal != nullptr && *literal != nullptr) {
        return Json(*literal).dump();
    }
    if (const auto* real = std::any_cast<double>(&value)) {
        return Json(*real).dump();
    }
    if (const auto* flag = std::any_cast<bool>(&value)) {
        return Json(*flag).dump();
    }
    return std::nullopt;
}

/// Appends a member to the text of an object that is still open.
void appendMember(std::string& object, const std::string& key, const std::string& valueText)
{
    if (object.back() != '{') {
        object += ',';
    }
    object += Json(key).dump();
    object += ':';
    object += valueText;
}

std::string userInfoText(const std::map<std::string, std::any>& userInfo)
{
    std::string object = "{";
    for (const auto& [key, value] : userInfo) {
        if (const std::optional<std::string> text = jsonText(value)) {
            appendMember(object, key, *text);
        }
    }
    return object + '}';
}

/// As a cast, which is defined only within the range of int: elsewhere the smallest int, as x86 converts.
int toInt(double number)
{
    constexpr double kBelowAll = static_cast<double>(INT_MIN) - 1.0;
    constexpr double kAboveAll = static_cast<double>(INT_MAX) + 1.0;
    return number > kBelowAll && number < kAboveAll ? static_cast<int>(number) : INT_MIN;
}

int toInt(const Json& number)
{
    if (const auto* real = number.get_ptr<const Json::number_float_t*>()) {
        return toInt(*real);
    }
    return static_cast<int>(number.get<std::int64_t>());
}

// The dictionary's value for each type of JSON value that it can hold; an empty one for null, which it cannot.
std::any dictionaryValue(std::nullptr_t)
{
    return {};
}
std::any dictionaryValue(bool flag)
{
    return flag;
}
std::any dictionaryValue(std::int64_t number)
{
    return static_cast<int>(number);
}
std::any dictionaryValue(std::uint64_t number)
{
    return static_cast<int>(number);
}
std::any dictionaryValue(double number)
{
    return number;
}
std::any dictionaryValue(std::string&& text)
{
    return std::move(text);
}

/// Takes in the parts of an error while the JSON library reads a text. A whole tree of the text's values would cost a
/// multiple of its size, and would need memory to be freed: here an object or array below the parts is passed over, so
/// that a text costs what it contributes to the error.
class ErrorParts : public nlohmann::json_sax<Json> {
public:
    /// Whether the text is an object. Throws the JSON library's exceptions.
    bool Read(const std::string& text)
    {
        Json::sax_parse(text, this);
        return isObject;
    }

    /// The error of the parts, or the JSON library's exception where a part has the wrong type.
    std::unique_ptr<ILumError> MakeError() const
    {
        const std::string errorDomain = domain ? domain->get<std::string>() : std::string();
        const int errorCode = code ? toInt(*code) : 0;
        if (userInfo && userInfo->is_primitive() && !userInfo->is_null()) {
            // Throws: what is neither an object nor an array has no keys.
            static_cast<void>(userInfo->cbegin().key());
        }
        return std::make_unique<LumError>(errorDomain, errorCode, entries);
    }

    bool null() override { return TakeValue(nullptr); }
    bool boolean(bool flag) override { return TakeValue(flag); }
    bool number_integer(std::int64_t number) override { return TakeValue(number); }
    bool number_unsigned(std::uint64_t number) override { return TakeValue(number); }
    bool number_float(double number, const std::string& /*text*/) override { return TakeValue(number); }
    bool string(std::string& text) override { return TakeValue(std::move(text)); }
    bool start_array(std::size_t /*size*/) override { return OpenContainer(Json::value_t::array); }
    bool end_array() override { return CloseContainer(); }
    bool end_object() override { return CloseContainer(); }

    bool start_object(std::size_t /*size*/) override
    {
        isObject = isObject || depth == 0;
        return OpenContainer(Json::value_t::object);
    }

    bool key(std::string& name) override
    {
        if (depth == 1) {
            part = PartOf(name);
        } else if (IsInUserInfo()) {
            entryKey = std::move(name);
        }
        return true;
    }

    /// Only the library's binary formats have such values.
    bool binary(Json::binary_t& /*bytes*/) override { return true; }

    bool parse_error(std::size_t /*position*/, const std::string& /*token*/, const Json::exception& failure) override
    {
        throw failure;
    }

private:
    bool IsInUserInfo() const { return depth == 2 && part == &userInfo; }

    std::optional<Json>* PartOf(const std::string& name)
    {
        if (name == "domain") {
            return &domain;
        }
        if (name == "code") {
            return &code;
        }
        return name == "userInfo" ? &userInfo : nullptr;
    }

    template <typename Value>
    bool TakeValue(Value&& value)
    {
        if (IsInUserInfo()) {
            SetEntry(dictionaryValue(std::forward<Value>(value)));
        } else if (depth == 1 && part != nullptr) {
            SetPart(Json(std::forward<Value>(value)));
        }
        return true;
    }

    bool OpenContainer(Json::value_t type)
    {
        if (IsInUserInfo()) {
            SetEntry({});
        } else if (depth == 1 && part != nullptr) {
            SetPart(Json(type));
        }
        ++depth;
        return true;
    }

    bool CloseContainer()
    {
        --depth;
        return true;
    }

    /// The last of several members with one name counts, whatever its type.
    void SetPart(Json value)
    {
        *part = std::move(value);
        if (part == &userInfo) {
            entries.clear();
            nextIndex = 0;
        }
    }

    void SetEntry(std::any value)
    {
        if (userInfo->is_array()) {
            entryKey = std::to_string(nextIndex++);
        }
        if (value.has_value()) {
            entries.insert_or_assign(entryKey, std::move(value));
        } else {
            entries.erase(entryKey);
        }
    }

    std::size_t depth = 0;
    bool isObject = false;
    std::optional<Json> domain;
    std::optional<Json> code;
    /// Empty where it is an object or an array: its members are the entries.
    std::optional<Json> userInfo;
    std::map<std::string, std::any> entries;
    std::string entryKey;
    std::size_t nextIndex = 0;
    /// The part whose member is being read, or null within a member that an error does not have.
    std::optional<Json>* part = nullptr;
};

std::unique_ptr<ILumError> unreadableError(const std::string& json)
{
    const std::string description = "Failed to create required error object from JSON, so falling back to this error";
    return std::make_unique<LumError>(
        LumErrorNames::kDomain, kUnreadableCode,
        std::map<std::string, std::any>{{LumErrorNames::kUnderlyingErrorDescription, description},
                                        {LumErrorNames::kUnderlyingErrorObject, json}});
}

/// One line on the standard error stream, in one piece and whatever the host has set on the stream.
void report(const char* kind, const char* message)
{
    const std::string line = std::string(kind) + message + '\n';
    try {
        std::cerr.write(line.data(), static_cast<std::streamsize>(line.size())).flush();
    } catch (const std::ios_base::failure&) {
        // A host may have its stream throw, but a text that cannot be read must not.
        return;
    }
}

} // namespace

std::string LumError::toJson() const
{
    std::string object = "{";
    appendMember(object, "code", Json(code).dump());
    appendMember(object, "description", Json(getDescription()).dump());
    appendMember(object, "domain", Json(domain).dump());
    appendMember(object, "userInfo", userInfoText(userInfo));
    return object + '}';
}

std::unique_ptr<ILumError> LumError::fromJson(const std::string& json)
{
    try {
        ErrorParts parts;
        if (parts.Read(json)) {
            return parts.MakeError();
        }
    } catch (const Json::exception& failure) {
        report("JSON error: ", failure.what());
    } catch (const std::bad_alloc&) {
        throw;
    } catch (const std::exception& failure) {
        report("Unexpected error: ", failure.what());
    }
    return unreadableError(json);
}

} // namespace LumUtils
