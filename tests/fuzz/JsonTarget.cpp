#include "common/utils/LumError.h"
#include "fuzz/FuzzTargets.h"

#include <any>
#include <iostream>
#include <map>
#include <memory>
#include <optional>

namespace {

using LumUtils::ILumError;
using LumUtils::LumError;

/// Keeps off the standard error stream what is reported of each text that cannot be read. A module of Windows has a
/// stream of its own, which this does not reach.
class SilentErrors {
public:
    SilentErrors() : before(std::cerr.rdbuf(nullptr)) {}
    ~SilentErrors()
    {
        std::cerr.rdbuf(before);
        std::cerr.clear();
    }
    SilentErrors(const SilentErrors&) = delete;
    SilentErrors& operator=(const SilentErrors&) = delete;

private:
    std::streambuf* const before;
};

/// Nothing where a text in the error is not valid UTF-8.
std::optional<std::string> jsonOf(const ILumError& error)
{
    try {
        return error.toJson();
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

bool isFallback(const ILumError& error)
{
    return error.getDomain() == "com.corvan.utils.errordomain" && error.getCode() == -1;
}

template <typename Value>
bool holdSame(const std::any& left, const std::any& right)
{
    const auto* const first = std::any_cast<Value>(&left);
    const auto* const second = std::any_cast<Value>(&right);
    return first != nullptr && second != nullptr && *first == *second;
}

bool areEqual(const std::any& left, const std::any& right)
{
    return holdSame<int>(left, right) || holdSame<double>(left, right) || holdSame<bool>(left, right) ||
           holdSame<std::string>(left, right);
}

void expectSameUserInfo(const std::map<std::string, std::any>& left, const std::map<std::string, std::any>& right)
{
    LumFuzz::expect(left.size() == right.size(), "no user information is lost or added");
    for (const auto& [key, value] : left) {
        const auto found = right.find(key);
        LumFuzz::expect(found != right.end() && areEqual(value, found->second), "the value stays the same: " + key);
    }
}

} // namespace

/// The input is the JSON text of an error.
void LumFuzz::json(std::string_view input)
{
    const SilentErrors silent;
    const std::unique_ptr<ILumError> read = LumError::fromJson(std::string(input));
    expect(read != nullptr, "there is always an error");
    const std::optional<std::string> written = jsonOf(*read);
    if (!written) {
        expect(isFallback(*read), "what was read as UTF-8 can be written");
        return;
    }
    const std::unique_ptr<ILumError> again = LumError::fromJson(*written);
    expect(again->getDomain() == read->getDomain(), "the domain stays the same");
    expect(again->getCode() == read->getCode(), "the code stays the same");
    expectSameUserInfo(read->getUserInfo(), again->getUserInfo());
    expect(again->toJson() == *written, "the same error is written alike");
    expect(again->getDescription() == read->getDescription(), "the same error has the same text");
    expect(read->clone()->toJson() == *written, "a copy is the same error");
}
