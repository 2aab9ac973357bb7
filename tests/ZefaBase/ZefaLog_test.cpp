#include "ZefaBase/ZefaLog.h"

#include <gtest/gtest.h>

#include <memory>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "ZefaBase/ZefaStatusCode.h"
#include "platform/ZefaPlatform.h"
#include "platform/testing/ZefaManualClock.h"
#include "tests/support/ZefaLogCapture.h"

namespace {

// 2024-03-01 14:05:09.75 UTC on a device seven hours ahead of UTC. The log reads the offset at its
// first line, so the environment writes one before any test runs.
std::shared_ptr<ZefaManualClock> clock_;
class FixedClock : public testing::Environment {
  void SetUp() override {
    clock_ = std::make_shared<ZefaManualClock>(1709301909.75, 7 * 3600);
    ZefaPlatform::current().install(clock_);
    ZefaLogCapture first;
    ZefaLog::w("first line", ZefaLogSite{"F", "f()", 1});
  }
};
const auto* const kEnvironment = testing::AddGlobalTestEnvironment(new FixedClock);

const ZefaLogSite kSite{"ZefaBase/ZefaSDKUtils", "keyChainId()", 72};

std::string captureStdout(const std::function<void()>& action) {
  testing::internal::CaptureStdout();
  action();
  return testing::internal::GetCapturedStdout();
}

TEST(ZefaLogTest, WritesLocalTimeWithAFixedSuffixAndKeepsTheFirstOffset) {
  EXPECT_EQ(captureStdout([] { ZefaLog::e("get keychainId failed", kSite); }),
            "[2024-03-01 21:05:09 +0000][E][ZefaSDKUtils][keyChainId()](72):Zefa[Swift]-> "
            "get keychainId failed\n");
  clock_->setUtcOffsetSeconds(-5 * 3600);  // a zone change after the first line is not seen
  EXPECT_EQ(captureStdout([] { ZefaLog::w("x", kSite); }).substr(0, 27),
            "[2024-03-01 21:05:09 +0000]");
  clock_->setUtcOffsetSeconds(7 * 3600);
}

// Which levels write, and what a line holds after its timestamp (nullptr: nothing written).
using Log = void (*)(const std::string_view&, const ZefaLogSite&, std::string_view,
                     std::string_view);
void printDebug(const std::string_view& message, const ZefaLogSite& site,
                std::string_view separator, std::string_view terminator) {
  ZefaLog::print(message, site, separator, terminator, ZefaLogLevel::Debug);
}

TEST(ZefaLogTest, LevelsFilesAndTerminators) {
  const struct {
    bool showLog;
    Log log;
    ZefaLogSite site;
    const char* message;
    const char* terminator;
    const char* expected;
  } rows[] = {
      {false, ZefaLog::i, kSite, "x", "\n", nullptr},
      {true, ZefaLog::i, kSite, "x", "\n", "[I][ZefaSDKUtils][keyChainId()](72):Zefa[Swift]-> x\n"},
      {true, ZefaLog::d, kSite, "x", "\n", nullptr},
      {false, ZefaLog::w, kSite, "x", "\n",
       "[W][ZefaSDKUtils][keyChainId()](72):Zefa[Swift]-> x\n"},
      {false, printDebug, kSite, "x", "\n",
       "[D][ZefaSDKUtils][keyChainId()](72):Zefa[Swift]-> x\n"},
      {false, ZefaLog::e, {"Plain", "f()", 1}, "m", "\n", "[E][Plain][f()](1):Zefa[Swift]-> m\n"},
      {false, ZefaLog::e, {"a/b/C", "f()", 2}, "", "\n", "[E][C][f()](2):Zefa[Swift]-> \n"},
      {false, ZefaLog::e, {"F", "f()", 5}, "m", "<end>", "[E][F][f()](5):Zefa[Swift]-> m<end>"},
  };
  for (const auto& row : rows) {
    ZefaLogCapture capture(row.showLog);
    row.log(row.message, row.site, "SEP", row.terminator);
    std::vector<std::string> lines = capture.lines();
    for (auto& line : lines) line.erase(0, line.find(']') + 1);
    EXPECT_EQ(lines,
              row.expected ? std::vector<std::string>{row.expected} : std::vector<std::string>{});
  }
}

// The text a message of each kind is written as.
TEST(ZefaLogTest, MessageTexts) {
  const std::pair<std::string, const char*> rows[] = {
      {ZefaLog::textOf(42), "42"},
      {ZefaLog::textOf('A'), "A"},
      {ZefaLog::textOf(true), "true"},
      {ZefaLog::textOf(1.0), "1.0"},
      {ZefaLog::textOf(0.1f), "0.1"},
      {ZefaLog::textOf(std::string("text")), "text"},
      {ZefaLog::textOf(ZefaStatusCode::Success()),
       "ZefaBaseCode{code=Optional(200), msg=Optional(\"success\")}"},
  };
  for (const auto& [text, expected] : rows) EXPECT_EQ(text, expected);
}

TEST(ZefaLogTest, HiddenLinesNeverFormatTheirMessage) {
  ZefaLogCapture capture(/*showInfo=*/false);
  int formatted = 0;
  const auto message = [&] { return std::to_string(++formatted); };
  ZefaLog::i(message, kSite);
  ZefaLog::d(message, kSite);
  ZefaLog::w(message, kSite);
  EXPECT_EQ(formatted, 1);
}

TEST(ZefaLogTest, CallersGetTheirOwnFileFunctionAndLine) {
  ZefaLogCapture capture;
  const int line = __LINE__ + 1;
  ZefaLog::w("here");
  ASSERT_EQ(capture.entries().size(), 1u);
  EXPECT_EQ(capture.entries()[0],
            "[W][ZefaLog_test.cpp][TestBody()](" + std::to_string(line) + "):Zefa[Swift]-> here");
  const std::pair<const char*, const char*> texts[] = {
      {"int main()", "main()"},
      {"void f(void)", "f()"},
      {"void Game::start(int, const char*)", "start(_:_:)"},
      {"std::map<int, int> ns::C::load(std::map<int, int>, bool)", "load(_:_:)"},
      {"void cb(void (*)(int, int))", "cb(_:)"}};
  for (const auto& [pretty, text] : texts) EXPECT_EQ(ZefaLogSite::functionText(pretty), text);
}

TEST(ZefaLogTest, LinesFromManyThreadsNeverInterleave) {
  const std::string out = captureStdout([] {
    std::vector<std::thread> threads;
    for (char c = 'a'; c < 'e'; ++c) {
      threads.emplace_back([c] {
        for (int n = 0; n < 200; ++n) ZefaLog::w(std::string(100, c), kSite);
      });
    }
    for (auto& thread : threads) thread.join();
  });
  std::istringstream lines(out);
  int count = 0;
  for (std::string line; std::getline(lines, line); ++count) {
    const std::string tail = line.substr(line.find("-> ") + 3);
    EXPECT_EQ(tail, std::string(100, tail[0]));
  }
  EXPECT_EQ(count, 800);
}

}  // namespace
