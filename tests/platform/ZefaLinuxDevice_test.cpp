#include "platform/linux/ZefaLinuxDevice.h"

#include <gtest/gtest.h>
#include <net/if.h>
#include <stdlib.h>
#include <sys/utsname.h>
#include <systemd/sd-id128.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <regex>
#include <set>

#include "platform/ZefaPlatform.h"
#include "platform/testing/ZefaFakeBundle.h"

namespace {

// The standard output of a shell command, without its final line break; none when it fails.
std::optional<std::string> shellOutput(const std::string& command) {
  std::unique_ptr<FILE, int (*)(FILE*)> pipe(popen(command.c_str(), "r"), pclose);
  if (!pipe) return std::nullopt;
  std::string out;
  char buffer[256];
  while (fgets(buffer, sizeof buffer, pipe.get()) != nullptr) out += buffer;
  if (pclose(pipe.release()) != 0) return std::nullopt;
  while (!out.empty() && out.back() == '\n') out.pop_back();
  return out;
}

std::string hex(const std::array<uint8_t, 16>& bytes) {
  std::string text;
  char pair[3];
  for (const uint8_t b : bytes) {
    std::snprintf(pair, sizeof pair, "%02x", b);
    text += pair;
  }
  return text;
}

class ScopedEnv {
 public:
  ScopedEnv(const char* name, const char* value) : name_(name) {
    if (const char* old = getenv(name)) old_ = old;
    if (value) {
      setenv(name, value, 1);
    } else {
      unsetenv(name);
    }
  }
  ~ScopedEnv() {
    if (old_) {
      setenv(name_, old_->c_str(), 1);
    } else {
      unsetenv(name_);
    }
  }

 private:
  const char* name_;
  std::optional<std::string> old_;
};

class ZefaLinuxDeviceTest : public testing::Test {
 protected:
  void SetUp() override { ZefaPlatform::current().install(bundle_); }
  void TearDown() override { ZefaPlatform::current().reset(); }
  void useBundleIdentifier(std::optional<std::string> identifier) {
    bundle_->identifier = std::move(identifier);
  }
  std::shared_ptr<ZefaFakeBundle> bundle_ = std::make_shared<ZefaFakeBundle>();
  ZefaLinuxDevice device_;
};

TEST_F(ZefaLinuxDeviceTest, MachineIsUnamesFieldWithItsZeroBytes) {
  utsname names{};
  ASSERT_EQ(uname(&names), 0);
  const std::string field = device_.machine();
  EXPECT_EQ(field.size(), sizeof names.machine);
  EXPECT_EQ(field.substr(0, field.find('\0')), names.machine);
  EXPECT_EQ(field.back(), '\0');
}

TEST_F(ZefaLinuxDeviceTest, NameIsTheHostName) {
  const std::optional<std::string> host = shellOutput("uname -n");
  ASSERT_TRUE(host);
  EXPECT_EQ(device_.name(), *host);
}

TEST_F(ZefaLinuxDeviceTest, SystemVersionIsOsReleaseVersionId) {
  // The shell reads os-release the way its format is defined: as variable assignments.
  const std::optional<std::string> expected = shellOutput(
      "if [ -r /etc/os-release ]; then . /etc/os-release; "
      "elif [ -r /usr/lib/os-release ]; then . /usr/lib/os-release; fi; "
      "printf '%s\\n' \"$VERSION_ID\"");
  ASSERT_TRUE(expected);
  EXPECT_EQ(device_.systemVersion(), *expected);
}

TEST_F(ZefaLinuxDeviceTest, OsReleaseValuesLoseQuotesAndEscapes) {
  const struct {
    const char* name;
    std::string text;
    std::optional<std::string> expected;
  } rows[] = {
      {"double quotes", "NAME=x\nVERSION_ID=\"12\"\n", "12"},
      {"single quotes", "VERSION_ID='22.04'", "22.04"},
      {"no quotes", "VERSION_ID=39", "39"},
      {"escaped quote", R"(VERSION_ID="a\"b")", "a\"b"},
      {"missing", "VERSION=12 (bookworm)\n", std::nullopt},
      {"prefix of another key", "VERSION_ID_LIKE=1", std::nullopt},
      {"empty value", "VERSION_ID=", ""},
      {"last assignment wins", "VERSION_ID=1\nVERSION_ID=2", "2"},
      {"CRLF line ends", "VERSION_ID=\"3\"\r\n", "3"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(ZefaLinuxDevice::osReleaseValue(row.text, "VERSION_ID"), row.expected) << row.name;
  }
}

TEST_F(ZefaLinuxDeviceTest, AdvertisingIdentifierIsAllZeros) {
  EXPECT_EQ(device_.advertisingIdentifier(), "00000000-0000-0000-0000-000000000000");
}

TEST_F(ZefaLinuxDeviceTest, VendorKeyIsFnv1a128OfTheVendor) {
  // Published FNV-1a 128-bit values.
  EXPECT_EQ(hex(ZefaLinuxDevice::vendorKey("")), "6c62272e07bb014262b821756295c58d");
  EXPECT_EQ(hex(ZefaLinuxDevice::vendorKey("a")), "d228cb696f1a8caf78912b704e4a8964");
  EXPECT_NE(ZefaLinuxDevice::vendorKey("com.zefa"), ZefaLinuxDevice::vendorKey("com.zefb"));
}

TEST_F(ZefaLinuxDeviceTest, VendorIsTheIdentifierWithoutItsLastComponent) {
  const struct {
    const char* identifier;
    const char* vendor;
  } rows[] = {{"com.zefa.game", "com.zefa"},
              {"com.zefa.game.lite", "com.zefa.game"},
              {"single", "single"},
              {"", ""},
              {"trailing.", "trailing"}};
  for (const auto& row : rows) {
    EXPECT_EQ(ZefaLinuxDevice::vendorOf(row.identifier), row.vendor) << row.identifier;
  }
}

TEST_F(ZefaLinuxDeviceTest, VendorIdentifierIsTheAppSpecificMachineIdPerVendor) {
  sd_id128_t machine{};
  useBundleIdentifier("com.zefa.game");
  if (sd_id128_get_machine(&machine) < 0) {
    // Without a machine id (minimal containers) there is no vendor identifier.
    EXPECT_EQ(device_.identifierForVendor(), std::nullopt);
    return;
  }
  const std::optional<std::string> game = device_.identifierForVendor();
  ASSERT_TRUE(game);
  EXPECT_TRUE(std::regex_match(
      *game, std::regex("[0-9A-F]{8}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{12}")))
      << *game;
  EXPECT_EQ(device_.identifierForVendor(), game) << "stable";
  useBundleIdentifier("com.zefa.other");
  EXPECT_EQ(device_.identifierForVendor(), game) << "same vendor, same identifier";
  useBundleIdentifier("org.elsewhere.game");
  EXPECT_NE(device_.identifierForVendor(), game) << "another vendor";
  useBundleIdentifier(std::nullopt);
  EXPECT_TRUE(device_.identifierForVendor()) << "no bundle identifier: the empty vendor";

  // systemd's own tool derives the same identifier from the same key.
  const std::optional<std::string> tool = shellOutput(
      "systemd-id128 machine-id -u --app-specific=" + hex(ZefaLinuxDevice::vendorKey("com.zefa")) +
      " 2>/dev/null");
  if (!tool) GTEST_SKIP() << "systemd-id128 is not installed; the cross-check needs it";
  std::string upper = *tool;
  std::transform(upper.begin(), upper.end(), upper.begin(), ::toupper);
  EXPECT_EQ(*game, upper);
}

TEST_F(ZefaLinuxDeviceTest, ScopedEntriesAreTheMachinesInterfaces) {
  std::set<std::string> expected;
  struct if_nameindex* list = if_nameindex();
  ASSERT_NE(list, nullptr);
  for (struct if_nameindex* entry = list; entry->if_index != 0; ++entry)
    expected.insert(entry->if_name);
  if_freenameindex(list);

  const std::optional<ZefaJsonObject> settings = device_.proxySettings();
  ASSERT_TRUE(settings);
  ASSERT_TRUE(settings->at("__SCOPED__").is_object());
  std::set<std::string> scoped;
  for (const auto& entry : settings->at("__SCOPED__").get_ref<const ZefaJsonObject&>()) {
    scoped.insert(entry.first);
  }
  EXPECT_EQ(scoped, expected);
  EXPECT_TRUE(scoped.count("lo"));
}

TEST_F(ZefaLinuxDeviceTest, HttpProxyFollowsTheEnvironmentConvention) {
  const struct {
    const char* name;
    const char* lower;
    const char* upper;
    std::optional<std::string> host;
    std::optional<int64_t> port;
  } rows[] = {
      {"none", nullptr, nullptr, std::nullopt, std::nullopt},
      {"http_proxy with port", "http://proxy.lan:3128/", nullptr, "proxy.lan", 3128},
      {"HTTP_PROXY only", nullptr, "10.0.0.1:8080", "10.0.0.1", 8080},
      {"lower case wins", "http://lower:1", "http://upper:2", "lower", 1},
      {"empty http_proxy falls back", "", "http://upper:2", "upper", 2},
      {"credentials are dropped", "http://user:pw@host.example", nullptr, "host.example",
       std::nullopt},
      {"IPv6 host", "http://[::1]:3128", nullptr, "::1", 3128},
      {"nothing but a scheme", "http://", nullptr, std::nullopt, std::nullopt},
  };
  for (const auto& row : rows) {
    ScopedEnv lower("http_proxy", row.lower);
    ScopedEnv upper("HTTP_PROXY", row.upper);
    const std::optional<ZefaJsonObject> settings = device_.proxySettings();
    ASSERT_TRUE(settings) << row.name;
    if (row.host) {
      EXPECT_EQ(settings->at("HTTPProxy"), *row.host) << row.name;
    } else {
      EXPECT_FALSE(settings->contains("HTTPProxy")) << row.name;
    }
    if (row.port) {
      EXPECT_EQ(settings->at("HTTPPort"), *row.port) << row.name;
    } else {
      EXPECT_FALSE(settings->contains("HTTPPort")) << row.name;
    }
  }
}

}  // namespace
