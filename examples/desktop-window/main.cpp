#include "MainWindow.h"

#include <exception>

int WINAPI wWinMain(HINSTANCE instance, HINSTANCE, PWSTR, int showCommand)
{
    try {
        LumWindow::MainWindow window(instance);
        return window.Run(showCommand);
    } catch (const std::exception& exception) {
        MessageBoxA(nullptr, exception.what(), "Fetch", MB_ICONERROR);
        return 1;
    }
}
