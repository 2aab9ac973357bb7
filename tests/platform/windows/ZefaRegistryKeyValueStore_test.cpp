#include "platform/windows/ZefaRegistryKeyValueStore.h"

#include <gtest/gtest.h>
#include <windows.h>

namespace {

// A store of its own, removed with its registry key at the end.
class ZefaRegistryKeyValueStoreTest : public testing::Test {
 protected:
  void TearDown() override { RegDeleteTreeW(HKEY_CURRENT_USER, store.subKey().c_str()); }
  ZefaRegistryKeyValueStore store{"com.zefa.registry-test." +
                                  std::to_string(GetCurrentProcessId())};
};

// Keys are told apart exactly, case included, whatever their script; values come back as stored.
TEST_F(ZefaRegistryKeyValueStoreTest, RoundTripsTextByExactKey) {
  const std::vector<std::pair<std::string, std::string>> entries{
      {"key", "lower"},
      {"Key", "upper"},
      {"^key", "caret"},
      {"KEY", "all upper"},
      {"\xD0\x9A\xD0\xBB\xD1\x8E\xD1\x87", "Cyrillic upper"},  // Ключ
      {"\xD0\xBA\xD0\xBB\xD1\x8E\xD1\x87", "Cyrillic lower"},  // ключ
      {"emoji", "\xE5\x80\xA4 \xE2\x9C\x93 \xF0\x9F\x98\x80"},
      {"empty", ""},
      {"", "the default value"},
      {"json", R"({"a":[1,2],"b":"c\\d"})"}};
  for (const auto& [key, value] : entries) EXPECT_TRUE(store.setString(key, value)) << key;
  for (const auto& [key, value] : entries) EXPECT_EQ(store.string(key), value) << key;

  EXPECT_EQ(store.string("missing"), std::nullopt);
  EXPECT_TRUE(store.setString("Key", "replaced"));
  EXPECT_EQ(store.string("Key"), "replaced");
  EXPECT_EQ(store.string("key"), "lower");

  EXPECT_TRUE(store.remove("key"));
  EXPECT_EQ(store.string("key"), std::nullopt);
  EXPECT_EQ(store.string("Key"), "replaced") << "only the exact key goes";
  EXPECT_TRUE(store.remove("key")) << "removing what is not there succeeds";
}

// Plain keys are plain value names holding REG_SZ text, readable by any registry tool.
TEST_F(ZefaRegistryKeyValueStoreTest, StoresPlainKeysAsReadableValues) {
  ASSERT_TRUE(store.setString("player.level", "\xC3\xA9t\xC3\xA9"));  // été
  wchar_t data[16] = {};
  DWORD size = sizeof data;
  ASSERT_EQ(RegGetValueW(HKEY_CURRENT_USER, store.subKey().c_str(), L"player.level", RRF_RT_REG_SZ,
                         nullptr, data, &size),
            ERROR_SUCCESS);
  EXPECT_STREQ(data, L"\u00e9t\u00e9");
}

// A value name longer than the registry allows (16383 characters).
TEST_F(ZefaRegistryKeyValueStoreTest, FailsWithoutThrowingWhereTheRegistryRefuses) {
  const std::string longKey(20000, 'k');
  EXPECT_FALSE(store.setString(longKey, "v"));
  EXPECT_EQ(store.string(longKey), std::nullopt);
}

}  // namespace
