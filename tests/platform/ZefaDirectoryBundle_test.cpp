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
  const struct {
    const char *json, *plist;  // nullptr: no such file
    std::optional<std::string> identifier;
    bool hasDictionary;
  } rows[] = {
      {R"({"CFBundleIdentifier":"com.zefa.json"})", nullptr, "com.zefa.json", true},
      {nullptr, kPlist, "com.zefa.plist", true},
      {R"({"CFBundleIdentifier":"com.zefa.json"})", kPlist, "com.zefa.json", true},
      {nullptr, nullptr, std::nullopt, false},
      {"[1]", kPlist, std::nullopt, false},
      {"{", kPlist, std::nullopt, false},
      {R"({"CFBundleIdentifier":5})", nullptr, std::nullopt, true},
  };
  for (const auto& row : rows) {
    ZefaTempDirectory dir;
    if (row.json) dir.write("Info.json", row.json);
    if (row.plist) dir.write("Info.plist", row.plist);
    ZefaDirectoryBundle bundle(dir.path());
    EXPECT_EQ(bundle.infoDictionary().has_value(), row.hasDictionary)
        << testing::PrintToString(row.json);
    EXPECT_EQ(bundle.bundleIdentifier(), row.identifier) << testing::PrintToString(row.json);
  }
}

TEST(ZefaDirectoryBundle, FindsResourcesByNameTypeAndDirectory) {
  ZefaTempDirectory dir;
  dir.write("a.json", "");
  dir.write("Data/Raw/b.txt", "");
  const struct {
    std::string resource, type, directory;
    std::optional<std::string> relative;  // expected path under the bundle
  } rows[] = {
      {"a", "json", "", "/a.json"},
      {"a", ".json", "", "/a.json"},
      {"b", "txt", "Data/Raw/", "/Data/Raw/b.txt"},
      {"b.txt", "", "", std::nullopt},
      {"a", "txt", "", std::nullopt},
      {"", "json", "", std::nullopt},
  };
  ZefaDirectoryBundle bundle(dir.path());
  for (const auto& row : rows) {
    EXPECT_EQ(bundle.pathForResource(row.resource, row.type, row.directory),
              row.relative ? std::optional(dir.path() + *row.relative) : std::nullopt)
        << row.directory << " " << row.resource << " " << row.type;
  }
}

}  // namespace
