// Value formatting, emptiness checks and time texts.
#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <memory>

#include "ZefaBase/ZefaSDKUtils.h"
#include "platform/ZefaPlatform.h"
#include "platform/testing/ZefaManualClock.h"

namespace {

TEST(ZefaSDKUtilsFormatTest, IsBlank) {
  const struct {
    const char* name;
    const char* text;
    bool blank;
  } rows[] = {
      {"empty", "", true},
      {"ASCII spaces, tabs and line breaks", " \t\r\n\v\f ", true},
      {"no-break and ideographic spaces", "\u00a0\u3000\u2003", true},
      {"line and paragraph separators, next line", "\u2028\u2029\u0085", true},
      {"a letter between spaces", "  a  ", false},
      {"zero-width space is not white space", "\u200b", false},
      {"a stray byte that looks like next-line", "\x85", false},
      {"a dot", ".", false},
  };
  for (const auto& row : rows) EXPECT_EQ(isBlank(row.text), row.blank) << row.name;
}

TEST(ZefaSDKUtilsFormatTest, NumberAndBooleanTexts) {
  EXPECT_EQ(ZefaSDKUtils::boolToString(true), "1");
  EXPECT_EQ(ZefaSDKUtils::boolToString(false), "0");
  const struct {
    int64_t value;
    const char* text;
  } ints[] = {
      {0, "0"},
      {-7, "-7"},
      {2147483647, "2147483647"},
      {5000000000, "705032704"},
      {4294967296, "0"},
      {2147483648, "-2147483648"},
      {-2147483649, "2147483647"},
  };
  for (const auto& row : ints)
    EXPECT_EQ(ZefaSDKUtils::intToString(row.value), row.text) << row.value;
  const struct {
    double value;
    const char* text;
  } doubles[] = {
      {3.14, "3.140000"},      {2, "2.000000"},        {-0.5, "-0.500000"},
      {0.0000001, "0.000000"}, {0.000001, "0.000001"}, {1e20, "100000000000000000000.000000"},
  };
  for (const auto& row : doubles)
    EXPECT_EQ(ZefaSDKUtils::doubleToString(row.value), row.text) << row.value;
}

TEST(ZefaSDKUtilsFormatTest, NotNull) {
  EXPECT_FALSE(ZefaSDKUtils::notNull(std::nullopt));
  EXPECT_FALSE(ZefaSDKUtils::notNull(""));
  EXPECT_TRUE(ZefaSDKUtils::notNull(" "));
}

TEST(ZefaSDKUtilsFormatTest, GmtDateTexts) {
  using std::chrono::seconds;
  using std::chrono::system_clock;
  const struct {
    system_clock::time_point instant;
    const char* text;
  } rows[] = {
      {system_clock::time_point{}, "1970-01-01 00:00:00"},
      {system_clock::time_point{seconds{1700000000}}, "2023-11-14 22:13:20"},
      {system_clock::time_point{seconds{951782400}}, "2000-02-29 00:00:00"},
      {system_clock::time_point{seconds{-1}}, "1969-12-31 23:59:59"},
      {system_clock::time_point{std::chrono::milliseconds{1999}}, "1970-01-01 00:00:01"},
      {system_clock::time_point{seconds{7258118400}}, "2200-01-01 00:00:00"},
  };
  for (const auto& row : rows) EXPECT_EQ(ZefaSDKUtils::nsDateToGmtString(row.instant), row.text);
}

class TimeStampTest : public testing::Test {
 protected:
  void SetUp() override { ZefaPlatform::current().install(clock_); }
  void TearDown() override { ZefaPlatform::current().reset(); }
  std::shared_ptr<ZefaManualClock> clock_ = std::make_shared<ZefaManualClock>();
};

TEST_F(TimeStampTest, WholeSecondsTruncatedTowardZero) {
  clock_->setNow(1700000000.9);
  EXPECT_EQ(ZefaSDKUtils::getTimeStamp(), 1700000000);
  clock_->setNow(-1.5);
  EXPECT_EQ(ZefaSDKUtils::getTimeStamp(), -1);
}

TEST_F(TimeStampTest, RealClockIsNearTheSystemClock) {
  ZefaPlatform::current().reset();
  const auto system = std::chrono::duration_cast<std::chrono::seconds>(
      std::chrono::system_clock::now().time_since_epoch());
  EXPECT_NEAR(static_cast<double>(ZefaSDKUtils::getTimeStamp()),
              static_cast<double>(system.count()), 2);
}

TEST_F(TimeStampTest, NonFiniteTimeStopsTheProgram) {
  clock_->setNow(NAN);
  EXPECT_DEATH(ZefaSDKUtils::getTimeStamp(), "getTimeStamp");
  clock_->setNow(1e30);
  EXPECT_DEATH(ZefaSDKUtils::getTimeStamp(), "getTimeStamp");
}

}  // namespace
