#include "MainWindow.h"

#include "WindowLogger.h"
#include "WindowText.h"

#include "Windows/networking/WinHttpClientAsync.h"

#include <commctrl.h>

#include <stdexcept>

namespace LumWindow {

namespace {

constexpr int kMargin = 8;
constexpr int kUrlsHeight = 110;
constexpr int kButtonWidth = 90;
constexpr int kButtonHeight = 28;

template <typename Number>
LPARAM asParameter(Number* pointer)
{
    return reinterpret_cast<LPARAM>(pointer);
}

} // namespace

MainWindow::MainWindow(HINSTANCE programInstance) : instance(programInstance)
{
    const INITCOMMONCONTROLSEX controls{sizeof(INITCOMMONCONTROLSEX), ICC_LISTVIEW_CLASSES};
    InitCommonControlsEx(&controls);
    WNDCLASSW description{};
    description.lpfnWndProc = onMessage;
    description.hInstance = instance;
    description.hCursor = LoadCursorW(nullptr, MAKEINTRESOURCEW(32512)); // the arrow
    description.hbrBackground = GetSysColorBrush(COLOR_BTNFACE);
    description.lpszClassName = kWindowClass;
    RegisterClassW(&description);
    if (CreateWindowExW(0, kWindowClass, L"Fetch", WS_OVERLAPPEDWINDOW, CW_USEDEFAULT, CW_USEDEFAULT, 900, 620, nullptr,
                        nullptr, instance, this) == nullptr) {
        throw std::runtime_error("the window cannot be made");
    }
}

int MainWindow::Run(int showCommand)
{
    ShowWindow(window, showCommand);
    MSG message;
    while (GetMessageW(&message, nullptr, 0, 0) > 0) {
        if (!IsDialogMessageW(window, &message)) { // the Tab key moves from control to control
            TranslateMessage(&message);
            DispatchMessageW(&message);
        }
    }
    return static_cast<int>(message.wParam);
}

LRESULT CALLBACK MainWindow::onMessage(HWND window, UINT message, WPARAM wide, LPARAM extra)
{
    if (message == WM_NCCREATE) {
        auto* const created = static_cast<MainWindow*>(reinterpret_cast<CREATESTRUCTW*>(extra)->lpCreateParams);
        created->window = window;
        SetWindowLongPtrW(window, GWLP_USERDATA, static_cast<LONG_PTR>(asParameter(created)));
    }
    auto* const self = reinterpret_cast<MainWindow*>(GetWindowLongPtrW(window, GWLP_USERDATA));
    return self == nullptr ? DefWindowProcW(window, message, wide, extra) : self->handle(message, wide, extra);
}

LRESULT MainWindow::handle(UINT message, WPARAM wide, LPARAM extra)
{
    switch (message) {
    case WM_CREATE:
        makeControls();
        connect();
        return 0;
    case WM_SIZE:
        layOut(LOWORD(extra), HIWORD(extra));
        return 0;
    case WM_COMMAND:
        if (LOWORD(wide) == kFetch) {
            fetchAll();
        } else if (LOWORD(wide) == kCancel) {
            cancelSelected();
        }
        return 0;
    case WindowMailbox::kMessage:
        mailbox->Run();
        return 0;
    case WM_DESTROY:
        close();
        return 0;
    default:
        return DefWindowProcW(window, message, wide, extra);
    }
}

HWND MainWindow::makeControl(const wchar_t* kind, const wchar_t* text, DWORD style, ControlId id)
{
    const HWND control = CreateWindowExW(0, kind, text, WS_CHILD | WS_VISIBLE | WS_TABSTOP | style, 0, 0, 0, 0, window,
                                         reinterpret_cast<HMENU>(static_cast<LONG_PTR>(id)), instance, nullptr);
    if (control == nullptr) {
        throw std::runtime_error("a control cannot be made");
    }
    SendMessageW(control, WM_SETFONT, reinterpret_cast<WPARAM>(GetStockObject(DEFAULT_GUI_FONT)), 1);
    return control;
}

void MainWindow::makeControls()
{
    constexpr DWORD kLines = WS_BORDER | WS_VSCROLL | ES_MULTILINE | ES_AUTOVSCROLL;
    urls = makeControl(L"EDIT", L"https://example.org/", kLines | ES_WANTRETURN, kUrls);
    fetchButton = makeControl(L"BUTTON", L"Fetch", BS_PUSHBUTTON, kFetch);
    cancelButton = makeControl(L"BUTTON", L"Cancel", BS_PUSHBUTTON, kCancel);
    requests = makeControl(WC_LISTVIEWW, L"", WS_BORDER | LVS_REPORT | LVS_SHOWSELALWAYS, kRequests);
    ListView_SetExtendedListViewStyle(requests, LVS_EX_FULLROWSELECT);
    makeColumns();
    log = makeControl(L"EDIT", L"", kLines | ES_READONLY, kLog);
    SendMessageW(log, EM_SETLIMITTEXT, 0, 0); // as much as there is memory for
}

void MainWindow::makeColumns() const
{
    const struct {
        Column column;
        const wchar_t* title;
        int width;
        int format;
    } columns[] = {{kUrlColumn, L"URL", 420, LVCFMT_LEFT},
                   {kStateColumn, L"State", 300, LVCFMT_LEFT},
                   {kSizeColumn, L"Size", 100, LVCFMT_RIGHT}};
    for (const auto& each : columns) {
        LVCOLUMNW column{};
        column.mask = LVCF_TEXT | LVCF_WIDTH | LVCF_FMT;
        column.pszText = const_cast<wchar_t*>(each.title);
        column.cx = each.width;
        column.fmt = each.format;
        SendMessageW(requests, LVM_INSERTCOLUMNW, each.column, asParameter(&column));
    }
}

void MainWindow::connect()
{
    mailbox = std::make_shared<WindowMailbox>(window);
    const auto logger = std::make_shared<WindowLogger>(mailbox, [this](const std::string& line) { appendLog(line); });
    fetches = std::make_shared<FetchList>(std::make_shared<LumNetworking::WinHttpClientAsync>(logger), mailbox,
                                          [this](std::size_t index, const FetchRow& row) { showRow(index, row); });
}

void MainWindow::layOut(int width, int height) const
{
    const int inner = width - 2 * kMargin;
    const int listTop = kUrlsHeight + 2 * kMargin;
    const int listHeight = (height - listTop - 2 * kMargin) / 2;
    const int logTop = listTop + listHeight + kMargin;
    MoveWindow(urls, kMargin, kMargin, inner - kButtonWidth - kMargin, kUrlsHeight, TRUE);
    MoveWindow(fetchButton, width - kMargin - kButtonWidth, kMargin, kButtonWidth, kButtonHeight, TRUE);
    MoveWindow(cancelButton, width - kMargin - kButtonWidth, 2 * kMargin + kButtonHeight, kButtonWidth, kButtonHeight,
               TRUE);
    MoveWindow(requests, kMargin, listTop, inner, listHeight, TRUE);
    MoveWindow(log, kMargin, logTop, inner, height - logTop - kMargin, TRUE);
}

void MainWindow::fetchAll()
{
    for (const std::string& url : linesOf(textOfWindow(urls))) {
        fetches->Start(url);
    }
}

void MainWindow::cancelSelected()
{
    std::vector<std::size_t> selected;
    for (int row = ListView_GetNextItem(requests, -1, LVNI_SELECTED); row >= 0;
         row = ListView_GetNextItem(requests, row, LVNI_SELECTED)) {
        selected.push_back(static_cast<std::size_t>(row));
    }
    fetches->Cancel(selected);
}

void MainWindow::showRow(std::size_t index, const FetchRow& row) const
{
    if (static_cast<int>(index) >= ListView_GetItemCount(requests)) {
        LVITEMW item{};
        item.iItem = static_cast<int>(index);
        SendMessageW(requests, LVM_INSERTITEMW, 0, asParameter(&item));
    }
    setCell(index, kUrlColumn, row.url);
    setCell(index, kStateColumn, row.state);
    setCell(index, kSizeColumn, row.size);
}

void MainWindow::setCell(std::size_t index, Column column, const std::string& text) const
{
    std::wstring wide = wideText(text);
    LVITEMW item{};
    item.iSubItem = column;
    item.pszText = wide.data();
    SendMessageW(requests, LVM_SETITEMTEXTW, index, asParameter(&item));
}

void MainWindow::appendLog(const std::string& line) const
{
    const std::wstring wide = wideText(line + "\r\n");
    const auto end = static_cast<WPARAM>(GetWindowTextLengthW(log));
    SendMessageW(log, EM_SETSEL, end, static_cast<LPARAM>(end));
    SendMessageW(log, EM_REPLACESEL, FALSE, asParameter(wide.c_str()));
}

/// What is under way ends without the window: its completions and records are dropped.
void MainWindow::close()
{
    mailbox->Close();
    fetches->CancelAll();
    PostQuitMessage(0);
}

} // namespace LumWindow
