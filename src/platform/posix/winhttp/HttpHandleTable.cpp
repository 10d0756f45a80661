#include "platform/posix/winhttp/HttpHandleTable.h"

namespace LumPlatform {

HttpHandleTable& HttpHandleTable::Instance()
{
    // Never destroyed: handles may be closed by whatever is destroyed last.
    static auto& table = *new HttpHandleTable;
    return table;
}

HINTERNET HttpHandleTable::Add(const std::shared_ptr<HttpHandle>& object)
{
    const HINTERNET value = table.Add(object);
    object->SetValue(value);
    return value;
}

} // namespace LumPlatform
