#pragma once

#include <cstdlib>
#include <optional>
#include <string>

namespace LumTests {

/// The zone of this process's local times while it lives, as the variable TZ names it.
class TimeZone {
public:
    explicit TimeZone(const char* name)
    {
        if (const char* const value = std::getenv("TZ")) {
            before = value;
        }
        set(name);
    }
    ~TimeZone() { set(before ? before->c_str() : nullptr); }
    TimeZone(const TimeZone&) = delete;
    TimeZone& operator=(const TimeZone&) = delete;

private:
    /// The platform's part: sets the variable, or removes it, and has it read.
    static void set(const char* name);

    std::optional<std::string> before;
};

} // namespace LumTests
