#include "Demo.h"

#include <stdexcept>

namespace LumFetch {

bool RunDemo()
{
    throw std::runtime_error("this system has no server to show: name the URLs to fetch");
}

} // namespace LumFetch
