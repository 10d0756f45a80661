#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <vector>

namespace LumTests {

/// A program that runs beside this one and is talked to by lines: what it prints can be read, and the end of its input
/// is the sign for it to go on. What it prints on its error stream goes where this program's goes.
///
///     ChildProgram holder(LUM_FILE_HOLDER, {"rw", "r", path});
///     EXPECT_EQ(holder.readLine(), "held");
class ChildProgram {
public:
    /// Throws if it cannot be started. Arguments must not hold quotation marks.
    ChildProgram(const std::string& program, const std::vector<std::string>& arguments);

    /// Kills it if it still runs.
    ~ChildProgram();
    ChildProgram(const ChildProgram&) = delete;
    ChildProgram& operator=(const ChildProgram&) = delete;

    /// The system's number for it.
    unsigned long processId() const;

    /// Its next line without the line end; empty when it will print no more.
    std::string readLine();

    void closeInput();

    /// Ends it without giving it a chance to tidy up.
    void kill();

    /// Closes its input and waits for its end. Its exit code, or another number than 0 if it was killed.
    int wait();

    /// As wait, but kills it if it has not ended in this time; then -1.
    int waitFor(std::chrono::milliseconds limit);

private:
    struct System;
    std::unique_ptr<System> system;
};

} // namespace LumTests
