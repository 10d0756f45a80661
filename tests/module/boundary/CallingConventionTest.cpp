#include "Windows/Cli/LumCliAbi.h"

#include <gtest/gtest.h>

#include <type_traits>

/// The calling convention, as hosts spell it. The library's own name for it is not used here: a change of that name's
/// meaning must not pass. With 64 bits there is only one convention.

namespace {

/// Whether both are the same type, the convention included.
template <typename Ours, typename Hosts>
constexpr bool kIsSame = std::is_same<Ours, Hosts>::value;

using Text = const LumCliChar*;
using GetAbiVersion = std::uint32_t(__cdecl*)();
using GetPointerBits = std::int32_t(__cdecl*)();
using GetLibraryVersion = const char*(__cdecl*)();
using CreateWithManagedLogger = std::int32_t(__cdecl*)(const LumCliHostTable*, LumCliHandle, LumCliHandle, void**,
                                                       LumCliHandle*);
using CreateWithNativeLogger = std::int32_t(__cdecl*)(const LumCliHostTable*, const void*, LumCliHandle, void**,
                                                      LumCliHandle*);
using CreateGate = LumCliGate*(__cdecl*)();
using CloseGate = std::int32_t(__cdecl*)(LumCliGate*, std::int32_t);
using ReceiveStatus = std::int32_t(__cdecl*)(LumCliResponseReceiver*, std::int32_t);
using ReceiveText = std::int32_t(__cdecl*)(LumCliResponseReceiver*, Text, std::int32_t);
using ReceiveMessage = std::int32_t(__cdecl*)(LumCliMessageReceiver*, Text, std::int32_t);

static_assert(kIsSame<decltype(&LumCliGetAbiVersion), GetAbiVersion>);
static_assert(kIsSame<decltype(&LumCliGetPointerBits), GetPointerBits>);
static_assert(kIsSame<decltype(&LumCliGetLibraryVersion), GetLibraryVersion>);
static_assert(kIsSame<decltype(&LumCliCreateSocksClientWithManagedLogger), CreateWithManagedLogger>);
static_assert(kIsSame<decltype(&LumCliCreateSocksClientWithNativeLogger), CreateWithNativeLogger>);
static_assert(kIsSame<decltype(&LumCliCreateGate), CreateGate>);
static_assert(kIsSame<decltype(&LumCliCloseGate), CloseGate>);
static_assert(kIsSame<decltype(&LumCliReceiveStatus), ReceiveStatus>);
static_assert(kIsSame<decltype(&LumCliReceiveBody), ReceiveText>);
static_assert(kIsSame<decltype(&LumCliReceiveHeader), ReceiveText>);
static_assert(kIsSame<decltype(&LumCliReceiveMessage), ReceiveMessage>);

using Duplicate = LumCliHandle(__cdecl*)(LumCliHandle, LumCliHandle*);
using Release = void(__cdecl*)(LumCliHandle);
using Send = LumCliHandle(__cdecl*)(LumCliHandle, const LumCliRequest*, LumCliResponseReceiver*);
using SetSocks = LumCliHandle(__cdecl*)(LumCliHandle, const LumCliText*, const LumCliText*);
using Log = LumCliHandle(__cdecl*)(LumCliHandle, const LumCliLogRecord*);
using CreateException = LumCliHandle(__cdecl*)(std::int32_t, const LumCliText*);
using GetMessageOf = LumCliHandle(__cdecl*)(LumCliHandle, LumCliMessageReceiver*);

static_assert(kIsSame<decltype(LumCliHostTable::duplicateHandle), Duplicate>);
static_assert(kIsSame<decltype(LumCliHostTable::releaseHandle), Release>);
static_assert(kIsSame<decltype(LumCliHostTable::sendAndGetResponse), Send>);
static_assert(kIsSame<decltype(LumCliHostTable::setSocksParameters), SetSocks>);
static_assert(kIsSame<decltype(LumCliHostTable::log), Log>);
static_assert(kIsSame<decltype(LumCliHostTable::createException), CreateException>);
static_assert(kIsSame<decltype(LumCliHostTable::getExceptionMessage), GetMessageOf>);

// Without this the assertions above would hold for any convention.
static_assert(kIsSame<std::int32_t(__stdcall*)(), GetPointerBits> == (sizeof(void*) == 8));

template <typename Function>
Function function(const char* name)
{
    const HMODULE module = GetModuleHandleA("liblumutilsWinCli.dll");
    return reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(module, name)));
}

TEST(CallingConventionTest, ACallerThatNamesItCanCallTheModule)
{
    const auto getPointerBits = function<GetPointerBits>("LumCliGetPointerBits");
    ASSERT_NE(getPointerBits, nullptr);
    EXPECT_EQ(getPointerBits(), static_cast<std::int32_t>(8 * sizeof(void*)));
    const auto create = function<CreateWithManagedLogger>("LumCliCreateSocksClientWithManagedLogger");
    ASSERT_NE(create, nullptr);
    LumCliHostTable table = {};
    table.size = sizeof(table);
    table.version = kLumCliAbiVersion + 1;
    void* created = &table;
    LumCliHandle exception = 0;
    EXPECT_EQ(create(&table, 1, 2, &created, &exception), kLumCliOtherVersion);
    EXPECT_EQ(created, nullptr);
    EXPECT_EQ(exception, 0);
}

} // namespace
