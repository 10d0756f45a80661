#pragma once

#include <cerrno>
#include <system_error>

#include <unistd.h>

namespace LumPlatform {

/// An owned descriptor.
class Descriptor {
public:
    /// Takes the result of a call that opens one; throws std::system_error with errno if the call failed.
    explicit Descriptor(int opened) : value(opened)
    {
        if (value < 0) {
            throw std::system_error(errno, std::generic_category());
        }
    }
    ~Descriptor() { close(value); }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    int Get() const { return value; }

private:
    const int value;
};

} // namespace LumPlatform
