#include "support/FileMode.h"

#include <iostream>
#include <string>

/// Opens a file as its arguments say, and holds it until its input ends:
///
///     lum_file_holder ACCESS SHARE none|shared|exclusive PATH
///
/// Prints "held", or "refused" and the last error. Exits with 0 if it held the file.
int main(int count, char** arguments)
{
    if (count != 5) {
        std::cerr << "lum_file_holder ACCESS SHARE none|shared|exclusive PATH\n";
        return 2;
    }
    const std::string lock = arguments[3];
    HANDLE const file = LumTests::openFile(arguments[4], {arguments[1], arguments[2]});
    if (file == INVALID_HANDLE_VALUE || (lock != "none" && !LumTests::lockFile(file, lock == "exclusive"))) {
        std::cout << "refused " << GetLastError() << std::endl;
        return 1;
    }
    std::cout << "held" << std::endl;
    std::string line;
    while (std::getline(std::cin, line)) {
    }
    CloseHandle(file);
    return 0;
}
