#pragma once

#include <cstddef>
#include <cstdint>
#include <random>
#include <string>

namespace LumTests {

/// Numbers that follow from a seed.
class Dice {
public:
    explicit Dice(std::uint64_t seed) : engine(seed) {}

    /// From 0 to below the limit, which is not 0.
    std::uint64_t Below(std::uint64_t limit) { return engine() % limit; }

    /// The same for what counts objects in memory.
    std::size_t SizeBelow(std::size_t limit) { return static_cast<std::size_t>(Below(limit)); }

    /// True once in so many times.
    bool OneIn(std::uint64_t times) { return Below(times) == 0; }

    /// Any order of magnitude up to that many bits.
    std::size_t Size(unsigned int bits)
    {
        return static_cast<std::size_t>(Below(std::uint64_t{1} << (Below(bits) + 1)));
    }

    std::string Bytes(std::size_t count)
    {
        std::string bytes(count, '\0');
        for (char& byte : bytes) {
            byte = static_cast<char>(Below(256));
        }
        return bytes;
    }

    std::uint64_t Next() { return engine(); }

private:
    std::mt19937_64 engine;
};

} // namespace LumTests
