// The zefa command-line tool run as a process, and the backend's fault scripts.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "ZefaBase/ZefaJson.h"
#include "tests/platform/ZefaTestMachine.h"
#include "tests/tools/ZefaChildProcess.h"
#include "tools/backend/ZefaBackendFaults.h"
#include "tools/common/ZefaCommandLine.h"

namespace {

class ZefaToolTest : public testing::Test {
 protected:
  // Runs zefa with `arguments`; {exit code, standard output}.
  std::pair<int, std::string> zefa(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), ZEFA_CLI_PROGRAM);
    ZefaChildProcess program(arguments, dir_ + "/zefa.out");
    return {program.wait(30).value_or(-1), program.output()};
  }
  ZefaTempDirectory temp_;
  const std::string dir_ = temp_.path();
};

TEST_F(ZefaToolTest, ExitCodesTellSuccessFromFailureFromMisuse) {
  struct Row {
    std::vector<std::string> arguments;
    int exitCode;
  };
  const std::vector<Row> rows = {
      {{}, 2},
      {{"launch"}, 2},
      {{"--help"}, 0},
      {{"post", "--help"}, 0},
      {{"post", "/api/user/info"}, 2},                               // no --host
      {{"post", "--host", "http://h", "/api/user/info", "{"}, 2},    // body not JSON
      {{"post", "--host", "http://h", "/api/user/info", "[1]"}, 2},  // body not an object
      {{"post", "--host", "http://h", "--token", "t", "--disk-token", "/p"}, 2},
      {{"post", "--host", "http://h", "--retry", "-1", "/p"}, 2},
      {{"post", "--host", "http://h", "--timeuot", "5", "/p"}, 2},  // unknown option
      {{"get"}, 2},
      {{"get", "http://h/p", "novalue"}, 2},
      {{"login-record", "set", "[1]"}, 2},
      {{"login-record", "drop"}, 2},
      {{"info", "extra"}, 2},
      // Nothing listens on port 1: a transport failure.
      {{"post", "--data", dir_, "--device-id", "D", "--host", "http://127.0.0.1:1", "/p"}, 1},
      {{"get", "http://127.0.0.1:1/p"}, 1},
  };
  for (const Row& row : rows) {
    std::string shown;
    for (const std::string& argument : row.arguments) shown += argument + " ";
    EXPECT_EQ(zefa(row.arguments).first, row.exitCode) << shown;
  }
}

// `zefa info --json` for bundles whose version the library can and cannot fold into a code.
TEST_F(ZefaToolTest, InfoReportsThisMachineForAnyBundleVersion) {
  struct Row {
    const char* version;
    ZefaJson versionCode;
  };
  const std::vector<Row> rows = {
      {"1.2.3", 10203}, {"2.0", 200}, {"1.x", nullptr}, {"1.2.3.4.5.6.7.8.9.10.11", nullptr}};
  for (const Row& row : rows) {
    const std::string bundle = dir_ + "/bundle-" + row.version;
    std::filesystem::create_directories(bundle);
    std::ofstream(bundle + "/Info.json")
        << R"({"CFBundleIdentifier":"com.test.game","CFBundleShortVersionString":")" << row.version
        << "\"}";
    const auto [code, out] =
        zefa({"info", "--json", "--bundle", bundle, "--data", dir_ + "/data", "--game", "G"});
    ASSERT_EQ(code, 0) << row.version;
    const auto info = ZefaJsonText::parse(out);
    ASSERT_TRUE(info) << out;
    EXPECT_EQ((*info)["environment"]["versionCode"], row.versionCode) << row.version;
    EXPECT_EQ((*info)["staticInfo"]["appVersion"], row.version);
    EXPECT_EQ((*info)["staticInfo"]["pn"], "com.test.game");
    EXPECT_EQ((*info)["staticInfo"]["gameName"], "G");
    EXPECT_FALSE((*info)["staticInfo"]["model"].get<std::string>().empty());
  }
}

TEST_F(ZefaToolTest, TheLoginRecordIsStoredReadAndCleared) {
  const std::vector<std::string> where{"--data", dir_};
  const auto run = [&](std::vector<std::string> words) {
    words.insert(words.begin(), "login-record");
    words.insert(words.end(), where.begin(), where.end());
    return zefa(words);
  };
  EXPECT_EQ(run({"show"}).second, "no login record stored\n");
  EXPECT_EQ(run({"set", R"({"sessionToken":"abc","gameAccountId":"5"})"}).first, 0);
  const std::string shown = run({"show"}).second;
  EXPECT_NE(shown.find("sessionToken      abc\n"), std::string::npos) << shown;
  // A string is not an integer to the library.
  EXPECT_NE(shown.find("gameAccountId     (none"), std::string::npos) << shown;
  EXPECT_EQ(run({"clear"}).first, 0);
  EXPECT_EQ(run({"show"}).second, "no login record stored\n");
}

// The whole road of `zefa demo`, against its in-process backend, on this machine.
TEST_F(ZefaToolTest, TheDemoWalksEveryStep) {
  const auto [code, out] = zefa({"demo", "--quiet"});
  EXPECT_EQ(code, 0) << out;
  EXPECT_NE(out.find("Every step behaved as expected"), std::string::npos) << out;
  EXPECT_EQ(out.find("!! unexpected"), std::string::npos) << out;
}

TEST(ZefaCommandLineTest, SplitsOptionsFromArguments) {
  const std::vector<ZefaCommandLine::Option> options = {
      {"host", true}, {"quiet", false}, {"fail", true, true}};
  struct Row {
    std::vector<std::string> arguments;
    std::string error;  // "" when valid
    std::optional<std::string> host;
    std::vector<std::string> fails, positionals;
  };
  const std::vector<Row> rows = {
      {{"/p", "--host", "h", "{}"}, "", "h", {}, {"/p", "{}"}},
      {{"--host=a=b", "--quiet"}, "", "a=b", {}, {}},
      {{"--fail", "x", "--fail=y"}, "", std::nullopt, {"x", "y"}, {}},
      {{"-5", "--", "--host", "-h"}, "", std::nullopt, {}, {"-5", "--host", "-h"}},
      {{"--host"}, "--host needs a value", std::nullopt, {}, {}},
      {{"--host", "a", "--host", "b"}, "--host given twice", "b", {}, {}},
      {{"--quiet=1"}, "--quiet takes no value", std::nullopt, {}, {}},
      {{"--hots", "a"}, "unknown option --hots", std::nullopt, {}, {}},
  };
  for (const Row& row : rows) {
    const ZefaCommandLine line(row.arguments, options);
    EXPECT_EQ(line.error(), row.error) << row.arguments[0];
    if (!row.error.empty()) continue;
    EXPECT_EQ(line.value("host"), row.host) << row.arguments[0];
    EXPECT_EQ(line.values("fail"), row.fails) << row.arguments[0];
    EXPECT_EQ(line.positionals(), row.positionals) << row.arguments[0];
  }
  EXPECT_TRUE(ZefaCommandLine({"x", "-h"}, options).wantsHelp());
}

TEST(ZefaBackendFaultsTest, ParsesScriptsAndCountsThemDown) {
  struct Row {
    const char* script;
    bool valid;
    int64_t code;
    const char* msg;
    std::optional<int64_t> times;
  };
  const std::vector<Row> rows = {
      {"/p=7", true, 7, "injected failure", std::nullopt},
      {"/p=7:busy", true, 7, "busy", std::nullopt},
      {"/p=7:busy x2", true, 7, "busy", 2},
      {"/p=-3x1", true, -3, "injected failure", 1},
      {"/p=7:max", true, 7, "max", std::nullopt},  // an "x" not followed by a count
      {"/p=7:a:b", true, 7, "a:b", std::nullopt},
      {"/p=0", false, 0, "", std::nullopt},
      {"/p=7x0", false, 0, "", std::nullopt},
      {"/p=seven", false, 0, "", std::nullopt},
      {"/p=7:", false, 0, "", std::nullopt},
      {"=7", false, 0, "", std::nullopt},
      {"/p", false, 0, "", std::nullopt},
  };
  for (const Row& row : rows) {
    const auto failure = ZefaBackendFaults::parse(row.script);
    ASSERT_EQ(failure.has_value(), row.valid) << row.script;
    if (!failure) continue;
    EXPECT_EQ(failure->path, "/p") << row.script;
    EXPECT_EQ(failure->code, row.code) << row.script;
    EXPECT_EQ(failure->msg, row.msg) << row.script;
    EXPECT_EQ(failure->times, row.times) << row.script;
  }

  ZefaBackendFaults faults(0, 0, {*ZefaBackendFaults::parse("/p=7x2")});
  faults.script(*ZefaBackendFaults::parse("/p=9x1"));
  std::vector<int64_t> answered;
  for (int i = 0; i < 5; ++i)
    answered.push_back(faults.failureFor("/p").value_or(ZefaScriptedFailure{}).code);
  EXPECT_EQ(answered, (std::vector<int64_t>{7, 7, 9, 0, 0}));
  EXPECT_FALSE(faults.failureFor("/q"));
}

}  // namespace
