#include "platform/linux/ZefaDirectoryBundle.h"

#include <gtest/gtest.h>

#include "platform/linux/ZefaPropertyList.h"
#include "tests/platform/ZefaTestMachine.h"

namespace {

const char* const kPlist = R"(<?xml version="1.0" encoding="UTF-8"?>
<!DOCTYPE plist PUBLIC "-//Apple//DTD PLIST 1.0//EN" "http://www.apple.com/DTDs/PropertyList-1.0.dtd">
<plist version="1.0"><dict>
  <key>CFBundleIdentifier</key><string>com.zefa.plist</string> <!-- a comment -->
  <key>Count</key><integer>-42</integer><key>Ratio</key><real>0.5</real>
  <key>Enabled</key><true/><key>Hidden</key><false/><key>Empty</key><string/>
  <key>Escaped</key><string>a &amp; b &lt;c&gt; &#233;&#x41;</string>
  <key>Raw</key><string><![CDATA[<not a tag>]]></string>
  <key>List</key><array><string>x</string><integer>1</integer><array/></array>
  <key>Nested</key><dict><key>k</key><string>v</string></dict><key>Blob</key><data> AAEC
  </data>
</dict></plist>)";

TEST(ZefaDirectoryBundle, ReadsEveryKindOfPropertyListValue) {
  const std::optional<ZefaJson> value = ZefaPropertyList::parse(kPlist);
  ASSERT_TRUE(value);
  EXPECT_EQ(*value, ZefaJson::parse(R"({"CFBundleIdentifier": "com.zefa.plist", "Count": -42,
    "Ratio": 0.5, "Enabled": true, "Hidden": false, "Empty": "", "Escaped": "a & b <c> \u00e9A",
    "Raw": "<not a tag>", "List": ["x", 1, []], "Nested": {"k": "v"}, "Blob": "AAEC"})"));
  EXPECT_EQ(value->begin().key(), "CFBundleIdentifier") << "document order";
  for (const char* broken :
       {"", "<plist><dict><key>a</key><string>b</string></plist>",
        "<plist><dict><string>b</string></dict></plist>",
        "<plist><dict><key>a</key></dict></plist>", "<plist><integer>12a</integer></plist>",
        "<plist><string>&nbsp;</string></plist>", "bplist00\x01\x02"}) {
    EXPECT_FALSE(ZefaPropertyList::parse(broken)) << broken;
  }
}

// Info.json, when present, is the only source; Info.plist is read only without it.
TEST(ZefaDirectoryBundle, TakesInfoJsonBeforeInfoPlist) {
  // Info.json, Info.plist (nullptr: no such file), the identifier, whether there is a dictionary.
  const std::tuple<const char*, const char*, std::optional<std::string>, bool> rows[] = {
      {R"({"CFBundleIdentifier":"com.zefa.json"})", nullptr, "com.zefa.json", true},
      {nullptr, kPlist, "com.zefa.plist", true},
      {R"({"CFBundleIdentifier":"com.zefa.json"})", kPlist, "com.zefa.json", true},
      {nullptr, nullptr, std::nullopt, false},
      {"[1]", kPlist, std::nullopt, false},
      {"{", kPlist, std::nullopt, false},
      {R"({"CFBundleIdentifier":5})", nullptr, std::nullopt, true},
  };
  for (const auto& [json, plist, identifier, hasDictionary] : rows) {
    ZefaTempDirectory dir;
    if (json) dir.write("Info.json", json);
    if (plist) dir.write("Info.plist", plist);
    ZefaDirectoryBundle bundle(dir.path());
    EXPECT_EQ(bundle.infoDictionary().has_value(), hasDictionary) << testing::PrintToString(json);
    EXPECT_EQ(bundle.bundleIdentifier(), identifier) << testing::PrintToString(json);
  }
}

TEST(ZefaDirectoryBundle, FindsResourcesByNameTypeAndDirectory) {
  ZefaTempDirectory dir;
  dir.write("a.json", "a.json");
  dir.write("Data/Raw/b.txt", "b.txt");
  // Resource, type, directory, the bytes found; "dir" marks a directory, found but unreadable.
  const std::tuple<std::string, std::string, std::string, std::optional<std::string>> rows[] = {
      {"a", "json", "", "a.json"},        {"a", ".json", "", "a.json"},
      {"b", "txt", "Data/Raw/", "b.txt"}, {"Raw", "", "Data", "dir"},
      {"b.txt", "", "", std::nullopt},    {"a", "txt", "", std::nullopt},
      {"", "json", "", std::nullopt},
  };
  ZefaDirectoryBundle bundle(dir.path());
  for (const auto& [name, type, directory, found] : rows) {
    const ZefaBundleResource resource = bundle.resource(name, type, directory);
    EXPECT_EQ(resource.exists, found.has_value()) << directory << " " << name << " " << type;
    EXPECT_EQ(resource.bytes, found == "dir" ? std::nullopt : found) << directory << " " << name;
  }
}

}  // namespace
