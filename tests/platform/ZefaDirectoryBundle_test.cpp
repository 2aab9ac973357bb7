#include "platform/linux/ZefaDirectoryBundle.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "platform/linux/ZefaPropertyList.h"
#include "tests/platform/ZefaTempDirectory.h"

namespace {

const char* const kPlist = R"(<?xml version="1.0" encoding="UTF-8"?>
<!DOCTYPE plist PUBLIC "-//Apple//DTD PLIST 1.0//EN" "http://www.apple.com/DTDs/PropertyList-1.0.dtd">
<plist version="1.0">
<dict>
  <key>CFBundleIdentifier</key>
  <string>com.zefa.plist</string>
  <!-- a comment between entries -->
  <key>CFBundleShortVersionString</key><string>2.3.1</string>
  <key>Count</key><integer>-42</integer>
  <key>Ratio</key><real>0.5</real>
  <key>Enabled</key><true/>
  <key>Hidden</key><false/>
  <key>Empty</key><string/>
  <key>Escaped</key><string>a &amp; b &lt;c&gt; &#233;&#x41;</string>
  <key>Raw</key><string><![CDATA[<not a tag>]]></string>
  <key>List</key><array><string>x</string><integer>1</integer><array/></array>
  <key>Nested</key><dict><key>k</key><string>v</string></dict>
  <key>Blob</key><data>
    AAEC
  </data>
</dict>
</plist>
)";

TEST(ZefaDirectoryBundle, ReadsEveryKindOfPropertyListValue) {
  const std::optional<ZefaJson> value = ZefaPropertyList::parse(kPlist);
  ASSERT_TRUE(value);
  const ZefaJson expected = ZefaJson::parse(R"({
    "CFBundleIdentifier": "com.zefa.plist", "CFBundleShortVersionString": "2.3.1",
    "Count": -42, "Ratio": 0.5, "Enabled": true, "Hidden": false, "Empty": "",
    "Escaped": "a & b <c> \u00e9A", "Raw": "<not a tag>", "List": ["x", 1, []],
    "Nested": {"k": "v"}, "Blob": "AAEC"})");
  EXPECT_EQ(*value, expected);
  EXPECT_TRUE((*value)["Count"].is_number_integer());
  // Members keep the document's order.
  EXPECT_EQ(value->begin().key(), "CFBundleIdentifier");
}

TEST(ZefaDirectoryBundle, RefusesMalformedPropertyLists) {
  const struct {
    const char* name;
    const char* text;
  } rows[] = {
      {"empty document", ""},
      {"unclosed dict", "<plist><dict><key>a</key><string>b</string></plist>"},
      {"value without key", "<plist><dict><string>b</string></dict></plist>"},
      {"key without value", "<plist><dict><key>a</key></dict></plist>"},
      {"unknown element", "<plist><dict><key>a</key><thing>b</thing></dict></plist>"},
      {"integer that is not a number", "<plist><integer>12a</integer></plist>"},
      {"unknown entity", "<plist><string>&nbsp;</string></plist>"},
      {"trailing content", "<plist><string>a</string></plist><string>b</string>"},
      {"mismatched close", "<plist><array></dict></plist>"},
      {"binary property list", "bplist00\x01\x02"},
  };
  for (const auto& row : rows) {
    EXPECT_FALSE(ZefaPropertyList::parse(row.text)) << row.name;
  }
}

TEST(ZefaDirectoryBundle, TakesInfoJsonBeforeInfoPlist) {
  const struct {
    const char* name;
    const char* json;   // nullptr: no Info.json
    const char* plist;  // nullptr: no Info.plist
    std::optional<std::string> identifier;
    bool hasDictionary;
  } rows[] = {
      {"json only", R"({"CFBundleIdentifier":"com.zefa.json"})", nullptr, "com.zefa.json", true},
      {"plist only", nullptr, kPlist, "com.zefa.plist", true},
      {"both: json wins", R"({"CFBundleIdentifier":"com.zefa.json"})", kPlist, "com.zefa.json",
       true},
      {"neither", nullptr, nullptr, std::nullopt, false},
      {"json that is an array", "[1]", kPlist, std::nullopt, false},
      {"json that does not parse", "{", kPlist, std::nullopt, false},
      {"identifier that is a number", R"({"CFBundleIdentifier":5})", nullptr, std::nullopt, true},
      {"plist whose top level is not a dict", nullptr, "<plist><string>a</string></plist>",
       std::nullopt, false},
  };
  for (const auto& row : rows) {
    ZefaTempDirectory dir;
    if (row.json) dir.write("Info.json", row.json);
    if (row.plist) dir.write("Info.plist", row.plist);
    ZefaDirectoryBundle bundle(dir.path());
    EXPECT_EQ(bundle.infoDictionary().has_value(), row.hasDictionary) << row.name;
    EXPECT_EQ(bundle.bundleIdentifier(), row.identifier) << row.name;
  }
}

TEST(ZefaDirectoryBundle, ReadsTheDictionaryAfreshOnEveryCall) {
  ZefaTempDirectory dir;
  dir.write("Info.json", R"({"CFBundleVersion":"1"})");
  ZefaDirectoryBundle bundle(dir.path());
  EXPECT_EQ(bundle.infoDictionary()->at("CFBundleVersion"), "1");
  dir.write("Info.json", R"({"CFBundleVersion":"2"})");
  EXPECT_EQ(bundle.infoDictionary()->at("CFBundleVersion"), "2");
}

TEST(ZefaDirectoryBundle, FindsResourcesByNameTypeAndDirectory) {
  ZefaTempDirectory dir;
  dir.write("a.json", "top");
  dir.write("noext", "top");
  dir.write("Data/Raw/b.txt", "raw");
  dir.write("cfg/c.json", "deep");
  mkdir((dir.path() + "/folder").c_str(), 0755);
  const struct {
    const char* name;
    std::string resource, type, directory;
    std::optional<std::string> relative;  // expected path under the bundle, none for no path
  } rows[] = {
      {"name with extension, no type", "a.json", "", "", "/a.json"},
      {"name and type", "a", "json", "", "/a.json"},
      {"type with a leading dot", "a", ".json", "", "/a.json"},
      {"file without extension", "noext", "", "", "/noext"},
      {"sub-directory", "b.txt", "", "Data/Raw", "/Data/Raw/b.txt"},
      {"sub-directory with trailing slash", "b", "txt", "Data/Raw/", "/Data/Raw/b.txt"},
      {"not at the top level", "b.txt", "", "", std::nullopt},
      {"slash inside the name", "cfg/c.json", "", "", "/cfg/c.json"},
      {"a directory is found too", "folder", "", "", "/folder"},
      {"missing file", "zzz", "", "", std::nullopt},
      {"wrong type", "a", "txt", "", std::nullopt},
      {"empty name", "", "json", "", std::nullopt},
  };
  ZefaDirectoryBundle bundle(dir.path());
  for (const auto& row : rows) {
    const std::optional<std::string> path =
        bundle.pathForResource(row.resource, row.type, row.directory);
    if (row.relative) {
      EXPECT_EQ(path, dir.path() + *row.relative) << row.name;
    } else {
      EXPECT_EQ(path, std::nullopt) << row.name;
    }
  }
}

TEST(ZefaDirectoryBundle, MakesARelativeDirectoryAbsolute) {
  ZefaDirectoryBundle bundle("some/relative/");
  ASSERT_FALSE(bundle.directory().empty());
  EXPECT_EQ(bundle.directory().front(), '/');
  EXPECT_NE(bundle.directory().back(), '/');
}

}  // namespace
