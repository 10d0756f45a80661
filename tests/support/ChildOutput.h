#pragma once

#include "support/ChildProgram.h"

#include <chrono>
#include <future>
#include <string>

namespace LumTests {

/// How a program that was started has ended.
struct ChildEnd {
    /// Its exit code; -1 if it was killed because it took too long.
    int code;
    /// What it has printed, up to the first empty line.
    std::string output;
};

/// Reads what the program prints and waits for its end, however it hangs no longer than that.
inline ChildEnd endWithin(ChildProgram& program, std::chrono::milliseconds limit)
{
    std::future<std::string> reading = std::async(std::launch::async, [&program] {
        std::string output;
        for (std::string line = program.readLine(); !line.empty(); line = program.readLine()) {
            output += line + "\n";
        }
        return output;
    });
    const int code = program.waitFor(limit);
    return {code, reading.get()};
}

} // namespace LumTests
