#pragma once

#include "FetchList.h"
#include "WindowNames.h"

namespace LumWindow {

/// The window: URLs above, a line for each request in the middle, the library's log below. All of it runs on the thread
/// that made it.
class MainWindow {
public:
    explicit MainWindow(HINSTANCE programInstance);
    MainWindow(const MainWindow&) = delete;
    MainWindow& operator=(const MainWindow&) = delete;

    /// Shows the window and handles its messages until it is closed; the program's exit code.
    int Run(int showCommand);

private:
    static LRESULT CALLBACK onMessage(HWND window, UINT message, WPARAM wide, LPARAM extra);
    LRESULT handle(UINT message, WPARAM wide, LPARAM extra);

    HWND makeControl(const wchar_t* kind, const wchar_t* text, DWORD style, ControlId id);
    void makeControls();
    void makeColumns() const;
    void connect();
    void layOut(int width, int height) const;
    void fetchAll();
    void cancelSelected();
    void showRow(std::size_t index, const FetchRow& row) const;
    void setCell(std::size_t index, Column column, const std::string& text) const;
    void appendLog(const std::string& line) const;
    void close();

    HINSTANCE instance;
    HWND window = nullptr;
    HWND urls = nullptr;
    HWND fetchButton = nullptr;
    HWND cancelButton = nullptr;
    HWND requests = nullptr;
    HWND log = nullptr;
    std::shared_ptr<WindowMailbox> mailbox;
    std::shared_ptr<FetchList> fetches;
};

} // namespace LumWindow
