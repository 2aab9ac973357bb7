#include "ZefaBase/ZefaLog.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "ZefaBase/ZefaStatusCode.h"
#include "platform/ZefaPlatform.h"
#include "platform/testing/ZefaManualClock.h"
#include "tests/support/ZefaLogCapture.h"

namespace {

// 2024-03-01 14:05:09 UTC on a device seven hours ahead of UTC. The log reads the offset once,
// at its first line, so the clock is installed before any test of this program logs.
constexpr double kInstant = 1709301909.75;
constexpr int64_t kSevenHours = 7 * 3600;

class FixedClockEnvironment : public testing::Environment {
 public:
  void SetUp() override {
    clock_ = std::make_shared<ZefaManualClock>(kInstant, kSevenHours);
    ZefaPlatform::current().install(clock_);
    ZefaLogCapture first;  // the first line fixes the offset for the rest of the process
    ZefaLog::w("first line", ZefaLogSite{"F", "f()", 1});
  }
  static inline std::shared_ptr<ZefaManualClock> clock_;
};
const auto* const kEnvironment = testing::AddGlobalTestEnvironment(new FixedClockEnvironment);

const ZefaLogSite kKeyChainSite{"ZefaBase/ZefaSDKUtils", "keyChainId()", 72};

std::string captureStdout(const std::function<void()>& action) {
  testing::internal::CaptureStdout();
  action();
  return testing::internal::GetCapturedStdout();
}

TEST(ZefaLogTest, WritesTheLineByteForByteOnStandardOutput) {
  const std::string out = captureStdout([] { ZefaLog::e("get keychainId failed", kKeyChainSite); });
  EXPECT_EQ(out,
            "[2024-03-01 21:05:09 +0000][E][ZefaSDKUtils][keyChainId()](72):Zefa[Swift]-> "
            "get keychainId failed\n");
}

TEST(ZefaLogTest, OffsetIsFixedAtTheFirstLine) {
  FixedClockEnvironment::clock_->setUtcOffsetSeconds(-5 * 3600);  // a later zone change
  const std::string out = captureStdout([] { ZefaLog::w("x", kKeyChainSite); });
  FixedClockEnvironment::clock_->setUtcOffsetSeconds(kSevenHours);
  EXPECT_EQ(out.substr(0, 28), "[2024-03-01 21:05:09 +0000][");
}

TEST(ZefaLogTest, LevelsFilterAsDocumented) {
  const struct {
    const char* name;
    bool showLog;
    void (*log)();
    const char* expectedLetter;  // nullptr: nothing written
  } rows[] = {
      {"info hidden while logging is off", false, [] { ZefaLog::i("x", kKeyChainSite); }, nullptr},
      {"info written while logging is on", true, [] { ZefaLog::i("x", kKeyChainSite); }, "I"},
      {"debug never written (off)", false, [] { ZefaLog::d("x", kKeyChainSite); }, nullptr},
      {"debug never written (on)", true, [] { ZefaLog::d("x", kKeyChainSite); }, nullptr},
      {"warning always written", false, [] { ZefaLog::w("x", kKeyChainSite); }, "W"},
      {"error always written", false, [] { ZefaLog::e("x", kKeyChainSite); }, "E"},
      {"print writes whatever the switch", false,
       [] { ZefaLog::print("x", kKeyChainSite, " ", "\n", ZefaLogLevel::Debug); }, "D"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    ZefaLogCapture capture(row.showLog);
    row.log();
    const auto entries = capture.entries();
    if (!row.expectedLetter) {
      EXPECT_TRUE(entries.empty());
    } else {
      ASSERT_EQ(entries.size(), 1u);
      EXPECT_EQ(entries[0], std::string("[") + row.expectedLetter +
                                "][ZefaSDKUtils][keyChainId()](72):Zefa[Swift]-> x");
    }
  }
}

TEST(ZefaLogTest, MessagesFilesAndTerminators) {
  const struct {
    const char* name;
    void (*log)();
    const char* expected;
  } rows[] = {
      {"file without a slash is used whole",
       [] {
         ZefaLog::e("m", ZefaLogSite{"Plain", "f()", 1});
       },
       "[E][Plain][f()](1):Zefa[Swift]-> m\n"},
      {"empty message",
       [] {
         ZefaLog::e("", ZefaLogSite{"a/b/C", "f()", 2});
       },
       "[E][C][f()](2):Zefa[Swift]-> \n"},
      {"integer message",
       [] {
         ZefaLog::e(42, ZefaLogSite{"F", "f()", 3});
       },
       "[E][F][f()](3):Zefa[Swift]-> 42\n"},
      {"double message",
       [] {
         ZefaLog::e(1.0, ZefaLogSite{"F", "f()", 3});
       },
       "[E][F][f()](3):Zefa[Swift]-> 1.0\n"},
      {"status code message",
       [] {
         ZefaLog::e(ZefaStatusCode::Success(), ZefaLogSite{"F", "f()", 4});
       },
       "[E][F][f()](4):Zefa[Swift]-> ZefaBaseCode{code=Optional(200), "
       "msg=Optional(\"success\")}\n"},
      {"own terminator, separator never written",
       [] {
         ZefaLog::e("m", ZefaLogSite{"F", "f()", 5}, "SEP", "<end>");
       },
       "[E][F][f()](5):Zefa[Swift]-> m<end>"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    ZefaLogCapture capture;
    row.log();
    const auto lines = capture.lines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].substr(lines[0].find(']') + 1), row.expected);
  }
}

TEST(ZefaLogTest, HiddenLinesNeverFormatTheirMessage) {
  ZefaLogCapture capture(/*showInfo=*/false);
  int formatted = 0;
  ZefaLog::i(
      [&] {
        ++formatted;
        return std::string("costly");
      },
      kKeyChainSite);
  ZefaLog::d(
      [&] {
        ++formatted;
        return std::string("costly");
      },
      kKeyChainSite);
  EXPECT_EQ(formatted, 0);
  ZefaLog::w(
      [&] {
        ++formatted;
        return std::string("costly");
      },
      kKeyChainSite);
  EXPECT_EQ(formatted, 1);
}

void callerFunction(int, const char*) { ZefaLog::w("from the caller"); }

TEST(ZefaLogTest, CallersGetTheirOwnFileFunctionAndLine) {
  ZefaLogCapture capture;
  const int line = __LINE__ + 1;
  ZefaLog::w("here");
  callerFunction(1, "a");
  const auto entries = capture.entries();
  ASSERT_EQ(entries.size(), 2u);
  EXPECT_EQ(entries[0],
            "[W][ZefaLog_test.cpp][TestBody()](" + std::to_string(line) + "):Zefa[Swift]-> here");
  EXPECT_NE(entries[1].find("[callerFunction(_:_:)]"), std::string::npos) << entries[1];
}

TEST(ZefaLogTest, FunctionTextsOfCallers) {
  const struct {
    const char* pretty;
    const char* text;
  } rows[] = {
      {"int main()", "main()"},
      {"void f(void)", "f()"},
      {"void Game::start(int, const char*)", "start(_:_:)"},
      {"std::map<int, int> ns::C::load(std::map<int, int>, bool)", "load(_:_:)"},
      {"void cb(void (*)(int, int))", "cb(_:)"},
  };
  for (const auto& row : rows)
    EXPECT_EQ(ZefaLogSite::functionText(row.pretty), row.text) << row.pretty;
}

TEST(ZefaLogTest, LinesFromManyThreadsNeverInterleave) {
  constexpr int kThreads = 4;
  constexpr int kLines = 200;
  const std::string out = captureStdout([] {
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
      threads.emplace_back([t] {
        const std::string message(100, static_cast<char>('a' + t));
        for (int n = 0; n < kLines; ++n) ZefaLog::w(message, kKeyChainSite);
      });
    }
    for (auto& thread : threads) thread.join();
  });
  int lines = 0;
  size_t start = 0;
  for (size_t end = out.find('\n'); end != std::string::npos; end = out.find('\n', start)) {
    const std::string line = out.substr(start, end - start);
    const std::string tail = line.substr(line.find("-> ") + 3);
    EXPECT_EQ(tail, std::string(100, tail[0])) << line;
    ++lines;
    start = end + 1;
  }
  EXPECT_EQ(lines, kThreads * kLines);
}

}  // namespace
