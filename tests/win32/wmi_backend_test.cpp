// The win32 management backend against the system's own WMI: the calls the program makes, in its
// order, and the conversion of what comes back into typed values.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/wmi.h"

namespace {

class WmiBackend : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_GE(platform::CoInitializeEx(platform::CoinitMultithreaded), 0);
    initialized = true;
    ASSERT_EQ(platform::CreateWbemLocator(&locator), platform::SOk);
    ASSERT_NE(locator, nullptr);
    ASSERT_EQ(platform::ConnectServer(locator, L"ROOT\\CIMV2", &services), platform::SOk);
    ASSERT_NE(services, nullptr);
    ASSERT_GE(platform::SetProxyBlanket(services, platform::RpcAuthnWinNt, platform::RpcAuthzNone,
                                        platform::RpcAuthnLevelCall, platform::RpcImpLevelImpersonate),
              0);
  }
  void TearDown() override {
    for (auto* row : rows) platform::Release(row);
    platform::Release(services);
    platform::Release(locator);
    if (initialized) platform::CoUninitialize();
  }

  // Every row of the query, as the program reads them: one at a time until Next says none is left.
  void Query(const std::wstring& wql) {
    platform::WbemEnumerator* enumerator = nullptr;
    ASSERT_EQ(platform::ExecQuery(services, L"WQL", wql,
                                  platform::WbemFlagForwardOnly | platform::WbemFlagReturnImmediately, &enumerator),
              platform::SOk);
    ASSERT_NE(enumerator, nullptr);
    for (int i = 0; i < 256; ++i) {
      platform::WbemObject* row = nullptr;
      uint32_t returned = 7;
      const platform::HResult result = platform::Next(enumerator, platform::WbemInfinite, &row, &returned);
      if (result != platform::SOk) {
        EXPECT_EQ(result, platform::SFalse);
        EXPECT_EQ(returned, 0u);
        break;
      }
      EXPECT_EQ(returned, 1u);
      ASSERT_NE(row, nullptr);
      rows.push_back(row);
    }
    platform::Release(enumerator);
  }

  bool initialized = false;
  platform::WbemLocator* locator = nullptr;
  platform::WbemServices* services = nullptr;
  std::vector<platform::WbemObject*> rows;
};

TEST_F(WmiBackend, ProcessorRowsHaveTypedValues) {
  Query(L"SELECT * FROM Win32_Processor");
  ASSERT_FALSE(rows.empty());
  platform::WbemObject* row = rows.front();

  platform::Variant value;
  int32_t cimType = -1;
  ASSERT_EQ(platform::Get(row, L"Name", value, &cimType), platform::SOk);
  EXPECT_EQ(cimType, platform::CimString);
  ASSERT_EQ(value.Type, platform::VtBstr);
  ASSERT_EQ(value.Texts.size(), 1u);
  EXPECT_FALSE(value.Texts[0].empty());
  EXPECT_TRUE(value.Integers.empty());

  // Unsigned 16- and 32-bit properties come as VT_I4, as WMI hands them out.
  ASSERT_EQ(platform::Get(row, L"AddressWidth", value, &cimType), platform::SOk);
  EXPECT_EQ(cimType, platform::CimUint16);
  EXPECT_EQ(value.Type, platform::VtI4);
  ASSERT_EQ(value.Integers.size(), 1u);
  EXPECT_TRUE(value.Integers[0] == 32 || value.Integers[0] == 64) << value.Integers[0];

  ASSERT_EQ(platform::Get(row, L"NumberOfLogicalProcessors", value, &cimType), platform::SOk);
  EXPECT_EQ(cimType, platform::CimUint32);
  EXPECT_EQ(value.Type, platform::VtI4);
  ASSERT_EQ(value.Integers.size(), 1u);
  EXPECT_GE(value.Integers[0], 1);

  // The type word is optional.
  ASSERT_EQ(platform::Get(row, L"DeviceID", value, nullptr), platform::SOk);
  ASSERT_EQ(value.Texts.size(), 1u);
  EXPECT_EQ(value.Texts[0].rfind(L"CPU", 0), 0u) << platform::WideCharToMultiByte(65001, value.Texts[0]);

  value.Type = platform::VtI4;
  EXPECT_EQ(platform::Get(row, L"NoSuchProperty", value, &cimType), platform::WbemNotFound);
}

TEST_F(WmiBackend, NamesListTheProperties) {
  Query(L"SELECT * FROM Win32_Processor");
  ASSERT_FALSE(rows.empty());
  std::vector<std::wstring> names{L"stale"};
  ASSERT_GE(platform::GetNames(rows.front(), platform::WbemFlagNonSystemOnly, names), 0);
  auto has = [&](const wchar_t* name) {
    for (const auto& n : names)
      if (n == name) return true;
    return false;
  };
  EXPECT_FALSE(has(L"stale"));
  EXPECT_TRUE(has(L"Name"));
  EXPECT_TRUE(has(L"AddressWidth"));
  EXPECT_FALSE(has(L"__CLASS"));  // system properties are left out
}

TEST(WmiText, WideToUtf8) {
  EXPECT_EQ(platform::WideCharToMultiByte(65001, L""), "");
  EXPECT_EQ(platform::WideCharToMultiByte(65001, L"GeForce"), "GeForce");
  EXPECT_EQ(platform::WideCharToMultiByte(65001, std::wstring{L'a', wchar_t{0xE9}, wchar_t{0x20AC}}),
            "a\xC3\xA9\xE2\x82\xAC");
  // Embedded zeros are kept: the length is the string's, not up to the first zero.
  EXPECT_EQ(platform::WideCharToMultiByte(65001, std::wstring(L"a\0b", 3)), std::string("a\0b", 3));
}

}  // namespace
