#pragma once

#include "support/ChildProgram.h"

#include "platform/LumPlatform.h"

#include <string>
#include <vector>

namespace LumTests {

/// What the list of requests shows in a line.
struct ShownRequest {
    std::wstring url;
    std::wstring state;
    std::wstring size;
};

/// The example's window, in a process of its own, as its user has it: what is typed, pressed, chosen and read.
class DesktopWindow {
public:
    /// Starts the program and waits for its window. Throws if there is none in time.
    DesktopWindow();

    void typeUrls(const std::vector<std::string>& urls) const;
    void pressFetch() const;
    void pressCancel() const;
    void select(int row) const;

    int rowCount() const;
    ShownRequest row(int index) const;
    std::wstring log() const;

    /// Whether the state of the row begins so within the time that everything here takes at most.
    bool waitForState(int index, const std::wstring& beginning) const;

    /// Closes the window; the program's exit code, or -1 if it does not end in time.
    int close();

private:
    HWND control(int id) const;
    void press(int id) const;
    std::wstring cell(int index, int column) const;

    ChildProgram program;
    HWND window = nullptr;
};

} // namespace LumTests
