#pragma once

#include <any>
#include <map>
#include <memory>
#include <string>

namespace LumUtils {

/// The one value in which every failure of the library travels: a domain that names the component, a code that has a
/// meaning within that domain, and a dictionary of further facts.
///
///     if (error && error->getDomain() == LumNetworking::LibLumNetworkingErrorDomain) {
///         std::cerr << error->getDescription() << '\n';
///     }
///
/// An error is immutable, so several threads may read one error at the same time. Whoever holds the owning pointer owns
/// the error. Compare domains as text, never by address. The operations that make something new throw std::bad_alloc if
/// there is no memory for it.
///
/// The order of the operations is part of the binary interface.
class ILumError {
public:
    virtual ~ILumError() = default;

    /// The domain, a reverse-DNS text. The reference lives as long as the error.
    virtual const std::string& getDomain() const = 0;

    /// The code within the domain, signed 32-bit.
    virtual int getCode() const = 0;

    /// The further facts by key, ordered byte-wise; see LumError for the keys and the value types that the library
    /// uses. The reference lives as long as the error.
    virtual const std::map<std::string, std::any>& getUserInfo() const = 0;

    /// The text for people: "Domain: d, Code: 5, UserInfo: {a: 1, b: x}". Keys and values are copied unescaped; a value
    /// of an unsupported type reads "unsupported type".
    virtual std::string getDescription() const = 0;

    /// The compact JSON text with the members "code", "description", "domain" and "userInfo", UTF-8. Values of
    /// unsupported types are left out. Throws the JSON library's type error if a text is not valid UTF-8.
    virtual std::string toJson() const = 0;

    /// A deep copy. (A stored const char* is copied as the pointer that it is.)
    virtual std::unique_ptr<ILumError> clone() const = 0;
};

} // namespace LumUtils
