#include "DesktopWindow.h"

#include "WindowNames.h"

#include <commctrl.h>

#include <functional>
#include <stdexcept>

namespace LumTests {

namespace {

constexpr std::chrono::seconds kPatience{60};
constexpr DWORD kPauseMilliseconds = 50;

bool waitUntil(const std::function<bool()>& holds)
{
    const auto end = std::chrono::steady_clock::now() + kPatience;
    while (!holds()) {
        if (std::chrono::steady_clock::now() > end) {
            return false;
        }
        Sleep(kPauseMilliseconds);
    }
    return true;
}

/// Memory in the window's process: the list reads and writes what messages point to there.
class ForeignMemory {
public:
    ForeignMemory(HWND window, std::size_t memorySize) : size(memorySize)
    {
        DWORD id = 0;
        GetWindowThreadProcessId(window, &id);
        process = OpenProcess(PROCESS_VM_OPERATION | PROCESS_VM_READ | PROCESS_VM_WRITE, FALSE, id);
        address = VirtualAllocEx(process, nullptr, size, MEM_COMMIT | MEM_RESERVE, PAGE_READWRITE);
        if (address == nullptr) {
            throw std::runtime_error("there is no memory in the window's process");
        }
    }
    ~ForeignMemory()
    {
        VirtualFreeEx(process, address, 0, MEM_RELEASE);
        CloseHandle(process);
    }
    ForeignMemory(const ForeignMemory&) = delete;
    ForeignMemory& operator=(const ForeignMemory&) = delete;

    char* at(std::size_t offset) const { return static_cast<char*>(address) + offset; }
    void write(const void* source, std::size_t count) const
    {
        WriteProcessMemory(process, address, source, count, nullptr);
    }
    void read(std::size_t offset, void* destination, std::size_t count) const
    {
        ReadProcessMemory(process, at(offset), destination, count, nullptr);
    }

private:
    std::size_t size;
    HANDLE process = nullptr;
    void* address = nullptr;
};

std::wstring textOf(HWND control)
{
    std::wstring text(static_cast<std::size_t>(SendMessageW(control, WM_GETTEXTLENGTH, 0, 0)) + 1, L'\0');
    const LRESULT length =
        SendMessageW(control, WM_GETTEXT, static_cast<WPARAM>(text.size()), reinterpret_cast<LPARAM>(text.data()));
    text.resize(static_cast<std::size_t>(length));
    return text;
}

} // namespace

DesktopWindow::DesktopWindow() : program(LUM_DESKTOP_WINDOW, {})
{
    const bool isThere = waitUntil([this] {
        DWORD id = 0;
        window = FindWindowW(LumWindow::kWindowClass, nullptr);
        return window != nullptr && GetWindowThreadProcessId(window, &id) != 0 && id == program.processId() &&
               IsWindowVisible(window);
    });
    if (!isThere) {
        throw std::runtime_error("the program shows no window");
    }
}

HWND DesktopWindow::control(int id) const
{
    const HWND found = GetDlgItem(window, id);
    if (found == nullptr) {
        throw std::runtime_error("the window has no control " + std::to_string(id));
    }
    return found;
}

void DesktopWindow::typeUrls(const std::vector<std::string>& urls) const
{
    std::wstring text;
    for (const std::string& url : urls) {
        text += std::wstring(url.begin(), url.end()) + L"\r\n";
    }
    SendMessageW(control(LumWindow::kUrls), WM_SETTEXT, 0, reinterpret_cast<LPARAM>(text.c_str()));
}

void DesktopWindow::press(int id) const
{
    SendMessageW(control(id), BM_CLICK, 0, 0);
}

void DesktopWindow::pressFetch() const
{
    press(LumWindow::kFetch);
}

void DesktopWindow::pressCancel() const
{
    press(LumWindow::kCancel);
}

void DesktopWindow::select(int row) const
{
    const ForeignMemory memory(window, sizeof(LVITEMW));
    LVITEMW item{};
    item.state = LVIS_SELECTED | LVIS_FOCUSED;
    item.stateMask = item.state;
    memory.write(&item, sizeof(item));
    SendMessageW(control(LumWindow::kRequests), LVM_SETITEMSTATE, static_cast<WPARAM>(row),
                 reinterpret_cast<LPARAM>(memory.at(0)));
}

int DesktopWindow::rowCount() const
{
    return static_cast<int>(SendMessageW(control(LumWindow::kRequests), LVM_GETITEMCOUNT, 0, 0));
}

std::wstring DesktopWindow::cell(int index, int column) const
{
    constexpr std::size_t kCharacters = 512;
    const ForeignMemory memory(window, sizeof(LVITEMW) + kCharacters * sizeof(wchar_t));
    LVITEMW item{};
    item.iSubItem = column;
    item.pszText = reinterpret_cast<wchar_t*>(memory.at(sizeof(item)));
    item.cchTextMax = static_cast<int>(kCharacters);
    memory.write(&item, sizeof(item));
    const LRESULT length = SendMessageW(control(LumWindow::kRequests), LVM_GETITEMTEXTW, static_cast<WPARAM>(index),
                                        reinterpret_cast<LPARAM>(memory.at(0)));
    std::wstring text(static_cast<std::size_t>(length), L'\0');
    memory.read(sizeof(item), text.data(), text.size() * sizeof(wchar_t));
    return text;
}

ShownRequest DesktopWindow::row(int index) const
{
    return {cell(index, LumWindow::kUrlColumn), cell(index, LumWindow::kStateColumn),
            cell(index, LumWindow::kSizeColumn)};
}

std::wstring DesktopWindow::log() const
{
    return textOf(control(LumWindow::kLog));
}

bool DesktopWindow::waitForState(int index, const std::wstring& beginning) const
{
    return waitUntil([&] { return index < rowCount() && row(index).state.rfind(beginning, 0) == 0; });
}

int DesktopWindow::close()
{
    PostMessageW(window, WM_CLOSE, 0, 0);
    return program.waitFor(kPatience);
}

} // namespace LumTests
