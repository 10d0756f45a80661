#pragma once

#include "platform/LumPlatform.h"

#include <cstdint>
#include <string>

/// The native part of the managed tests' host, as C functions. Texts come in as address and length, in UTF-8 or
/// whatever bytes a test wants, and go out as ProbeText, which lives as long as the object that it was asked of.

#define LUM_PROBE extern "C" LUM_EXPORT

struct ProbeText {
    const char* bytes;
    std::int64_t length;
};

inline std::string toString(const ProbeText& text)
{
    return text.bytes == nullptr ? std::string() : std::string(text.bytes, static_cast<std::size_t>(text.length));
}

inline ProbeText viewOf(const std::string& text)
{
    return {text.data(), static_cast<std::int64_t>(text.size())};
}

struct ProbeHeader {
    ProbeText name;
    ProbeText value;
};
