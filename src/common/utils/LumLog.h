#pragma once

#include "common/utils/ILumUtilsLoggerDelegate.h"

#include <cstddef>
#include <memory>
#include <string>
#include <type_traits>

/// The one way in which the library logs.
///
///     LUM_LOG(logger, Info, "LumNetworking::WinHttpAsyncCallback", "HTTP status code is %d", status);
///     LUM_LOG_AT(logger, Error, "LumNetworking::LumAsynchronousHttpClientBase::Get", 23, "Failed to parse URL: %s",
///     text);
///
/// LUM_LOG gives the statement's own line, LUM_LOG_AT a line that stays when the code moves, because hosts filter on
/// it. The level is the name of the delegate's operation without "log". The delegate is kept alive for the call; an
/// empty one logs nothing. A format that does not match its values does not compile; a std::string is passed as its
/// c_str().
///
/// What the delegate throws goes on to whoever logs, and so does std::bad_alloc where the record's texts take memory.
///
/// LUM_LOG_TEXT logs a finished text: it is the message, whatever it holds, and has no values. LUM_TRY_LOG,
/// LUM_TRY_LOG_AT and LUM_TRY_LOG_TEXT are for operations that must not throw, as those that start a request: the
/// record is lost if the delegate throws, whatever it throws.

namespace LumUtils {

enum class LogValueKind {
    None,
    Int,
    UnsignedInt,
    Long,
    UnsignedLong,
    LongLong,
    UnsignedLongLong,
    Double,
    Text,
    Pointer
};

template <typename Value>
constexpr LogValueKind logValueKind()
{
    if constexpr (std::is_same_v<Value, int> || std::is_same_v<Value, char> || std::is_same_v<Value, short>) {
        return LogValueKind::Int;
    } else if constexpr (std::is_same_v<Value, unsigned int>) {
        return LogValueKind::UnsignedInt;
    } else if constexpr (std::is_same_v<Value, long>) {
        return LogValueKind::Long;
    } else if constexpr (std::is_same_v<Value, unsigned long>) {
        return LogValueKind::UnsignedLong;
    } else if constexpr (std::is_same_v<Value, long long>) {
        return LogValueKind::LongLong;
    } else if constexpr (std::is_same_v<Value, unsigned long long>) {
        return LogValueKind::UnsignedLongLong;
    } else if constexpr (std::is_same_v<Value, double> || std::is_same_v<Value, float>) {
        return LogValueKind::Double;
    } else if constexpr (std::is_same_v<Value, const char*> || std::is_same_v<Value, char*>) {
        return LogValueKind::Text;
    } else if constexpr (std::is_same_v<Value, const void*> || std::is_same_v<Value, void*>) {
        return LogValueKind::Pointer;
    } else {
        return LogValueKind::None;
    }
}

template <typename... Values>
struct LogValueTypes {
};

/// Names the types of a log call's values; it is never called.
template <typename... Values>
LogValueTypes<Values...> logValueTypes(const char* format, Values... values);

enum class LogLengthModifier { None, Long, LongLong, Size };

constexpr bool isOneOf(char character, const char* set)
{
    for (; *set != '\0'; ++set) {
        if (*set == character) {
            return true;
        }
    }
    return false;
}

/// Steps over the flags, the width and the precision of a conversion. (A width or precision taken from a value is not
/// allowed in the library's formats: its "*" stays and matches no conversion.)
constexpr const char* skipFlagsAndWidth(const char* text)
{
    while (isOneOf(*text, "-+ #0123456789.")) {
        ++text;
    }
    return text;
}

constexpr LogLengthModifier readLengthModifier(const char*& text)
{
    if (text[0] == 'l' && text[1] == 'l') {
        text += 2;
        return LogLengthModifier::LongLong;
    }
    if (text[0] == 'l') {
        ++text;
        return LogLengthModifier::Long;
    }
    if (text[0] == 'z') {
        ++text;
        return LogLengthModifier::Size;
    }
    return LogLengthModifier::None;
}

constexpr LogValueKind signedKind(LogLengthModifier length)
{
    switch (length) {
    case LogLengthModifier::None:
        return LogValueKind::Int;
    case LogLengthModifier::Long:
        return LogValueKind::Long;
    case LogLengthModifier::LongLong:
        return LogValueKind::LongLong;
    case LogLengthModifier::Size:
        return logValueKind<std::make_signed_t<std::size_t>>();
    }
    return LogValueKind::None;
}

constexpr LogValueKind unsignedKind(LogLengthModifier length)
{
    switch (length) {
    case LogLengthModifier::None:
        return LogValueKind::UnsignedInt;
    case LogLengthModifier::Long:
        return LogValueKind::UnsignedLong;
    case LogLengthModifier::LongLong:
        return LogValueKind::UnsignedLongLong;
    case LogLengthModifier::Size:
        return logValueKind<std::size_t>();
    }
    return LogValueKind::None;
}

/// The kind of value that a conversion takes, or None for one that the library does not use.
constexpr LogValueKind conversionKind(LogLengthModifier length, char conversion)
{
    if (isOneOf(conversion, "di")) {
        return signedKind(length);
    }
    if (isOneOf(conversion, "uxXo")) {
        return unsignedKind(length);
    }
    if (length != LogLengthModifier::None) {
        return LogValueKind::None;
    }
    if (conversion == 'c') {
        return LogValueKind::Int;
    }
    if (isOneOf(conversion, "fFeEgG")) {
        return LogValueKind::Double;
    }
    if (conversion == 's') {
        return LogValueKind::Text;
    }
    return conversion == 'p' ? LogValueKind::Pointer : LogValueKind::None;
}

/// Whether the conversions of the format take values of exactly these types, in this order.
template <typename... Values>
constexpr bool logFormatMatches(const char* format, LogValueTypes<Values...> /*types*/)
{
    constexpr LogValueKind kinds[] = {logValueKind<Values>()..., LogValueKind::None};
    std::size_t next = 0;
    for (; *format != '\0'; ++format) {
        if (*format != '%') {
            continue;
        }
        ++format;
        if (*format == '%') {
            continue;
        }
        format = skipFlagsAndWidth(format);
        const LogLengthModifier length = readLengthModifier(format);
        const LogValueKind wanted = conversionKind(length, *format);
        if (wanted == LogValueKind::None || next == sizeof...(Values) || kinds[next] != wanted) {
            return false;
        }
        ++next;
    }
    return next == sizeof...(Values);
}

/// An operation of the delegate, for example &ILumUtilsLoggerDelegate::logInfo.
using LogOperation = void (ILumUtilsLoggerDelegate::*)(const std::string& file, const std::string& function,
                                                       const std::string& format, unsigned int line, ...);

template <typename... Values>
void logRecord(const std::shared_ptr<ILumUtilsLoggerDelegate>& logger, LogOperation operation, const char* file,
               const char* function, unsigned int line, const char* format, Values... values)
{
    // NOLINTNEXTLINE(performance-unnecessary-copy-initialization): the delegate must outlive the call
    const std::shared_ptr<ILumUtilsLoggerDelegate> delegate = logger;
    if (delegate) {
        (delegate.get()->*operation)(file, function, format, line, values...);
    }
}

/// The format without conversions that formats to this text.
inline std::string formatOfText(const std::string& text)
{
    std::string format;
    format.reserve(text.size());
    for (const char character : text) {
        format.append(character == '%' ? 2U : 1U, character);
    }
    return format;
}

} // namespace LumUtils

// The traditional preprocessor of one compiler hands __VA_ARGS__ on as a single argument unless it is expanded once
// more.
#define LUM_LOG_EXPAND(text) text
#define LUM_LOG_FIRST(first, ...) first
#define LUM_LOG_FORMAT(...) LUM_LOG_EXPAND(LUM_LOG_FIRST(__VA_ARGS__, 0))

/// As LUM_LOG_AT, on behalf of a function in another source file.
#define LUM_LOG_FROM(logger, level, file, function, line, ...)                                                         \
    do {                                                                                                               \
        static_assert(::LumUtils::logFormatMatches(LUM_LOG_FORMAT(__VA_ARGS__),                                        \
                                                   decltype(::LumUtils::logValueTypes(__VA_ARGS__)){}),                \
                      "the log format does not match its values");                                                     \
        ::LumUtils::logRecord(logger, &::LumUtils::ILumUtilsLoggerDelegate::log##level, file, function, line,          \
                              __VA_ARGS__);                                                                            \
    } while (false)

#define LUM_LOG_AT(logger, level, function, line, ...)                                                                 \
    LUM_LOG_FROM(logger, level, __FILE__, function, line, __VA_ARGS__)

#define LUM_LOG(logger, level, function, ...) LUM_LOG_AT(logger, level, function, __LINE__, __VA_ARGS__)

#define LUM_LOG_TEXT(logger, level, function, text)                                                                    \
    ::LumUtils::logRecord(logger, &::LumUtils::ILumUtilsLoggerDelegate::log##level, __FILE__, function, __LINE__,      \
                          ::LumUtils::formatOfText(text).c_str())

#define LUM_TRY_LOG_AT(logger, level, function, line, ...)                                                             \
    do {                                                                                                               \
        try {                                                                                                          \
            LUM_LOG_AT(logger, level, function, line, __VA_ARGS__);                                                    \
        } catch (...) {                                                                                                \
        }                                                                                                              \
    } while (false)

#define LUM_TRY_LOG(logger, level, function, ...) LUM_TRY_LOG_AT(logger, level, function, __LINE__, __VA_ARGS__)

#define LUM_TRY_LOG_TEXT(logger, level, function, text)                                                                \
    do {                                                                                                               \
        try {                                                                                                          \
            LUM_LOG_TEXT(logger, level, function, text);                                                               \
        } catch (...) {                                                                                                \
        }                                                                                                              \
    } while (false)
