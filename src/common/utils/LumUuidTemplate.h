#pragma once

#include <cstdint>
#include <string>

namespace LumUtils {

/// The UUID of the engine's next 31 outputs of 32 bits: the top four bits of each are a digit, in the order in which
/// the digits stand.
template <typename Engine>
std::string fillUuidTemplate(Engine& engine)
{
    constexpr char kDigits[] = "0123456789abcdef";
    constexpr unsigned int kVariantBits = 8;
    constexpr unsigned int kRandomBitsOfVariant = 3;
    std::string uuid = "xxxxxxxx-xxxx-4xxx-yxxx-xxxxxxxxxxxx";
    for (char& character : uuid) {
        if (character != 'x' && character != 'y') {
            continue;
        }
        const auto value = static_cast<unsigned int>(static_cast<std::uint32_t>(engine()) >> 28U);
        character = kDigits[character == 'x' ? value : (value & kRandomBitsOfVariant) | kVariantBits];
    }
    return uuid;
}

} // namespace LumUtils
