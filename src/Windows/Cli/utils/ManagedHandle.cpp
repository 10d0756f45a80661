#include "Windows/Cli/utils/ManagedHandle.h"

#include "Windows/Cli/utils/ManagedException.h"

#include <utility>

namespace LumUtilsCli {

namespace {

LumCliHandle duplicate(const ManagedReference& object)
{
    if (object.IsNull()) {
        return 0;
    }
    LumCliHandle copy = 0;
    callManaged(*object.host, [&] { return object.host->duplicateHandle(object.handle, &copy); });
    return copy;
}

} // namespace

ManagedHandle ManagedHandle::Adopt(const LumCliHostTable& host, LumCliHandle owned) noexcept
{
    return {host, owned};
}

ManagedHandle::ManagedHandle(const LumCliHostTable& hostTable, LumCliHandle owned) noexcept
    : host(&hostTable), handle(owned)
{
}

ManagedHandle::ManagedHandle(const ManagedReference& object) : host(object.host), handle(duplicate(object)) {}

ManagedHandle::~ManagedHandle()
{
    if (handle == 0) {
        return;
    }
    const HostCall inside(*host);
    if (inside.IsLetIn()) {
        host->releaseHandle(handle);
    }
}

ManagedHandle::ManagedHandle(ManagedHandle&& other) noexcept : host(other.host), handle(other.Release()) {}

LumCliHandle ManagedHandle::Release() noexcept
{
    return std::exchange(handle, 0);
}

} // namespace LumUtilsCli
