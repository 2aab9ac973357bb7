// Value formatting, emptiness checks and time texts.
#include <gtest/gtest.h>

#include <chrono>
#include <cmath>

#include "ZefaBase/ZefaSDKUtils.h"
#include "platform/ZefaPlatform.h"
#include "platform/testing/ZefaManualClock.h"

namespace {

TEST(ZefaSDKUtilsFormatTest, IsBlankTrimsUnicodeWhiteSpaceAndLineBreaks) {
  const std::pair<const char*, bool> rows[] = {{"", true},
                                               {" \t\r\n\v\f ", true},
                                               {"\u00a0\u3000\u2003", true},
                                               {"\u2028\u2029\u0085", true},
                                               {"  a  ", false},
                                               {"\u200b", false} /* zero-width space */,
                                               {"\x85", false} /* stray byte */,
                                               {"\xC2 ", false} /* truncated NBSP */,
                                               {"\xC0\xA0", false} /* overlong space */};
  for (const auto& [text, blank] : rows) EXPECT_EQ(isBlank(text), blank) << text;
}

TEST(ZefaSDKUtilsFormatTest, NumberBooleanAndPresenceTexts) {
  EXPECT_EQ(ZefaSDKUtils::boolToString(true) + ZefaSDKUtils::boolToString(false), "10");
  const std::pair<int64_t, const char*> ints[] = {{-7, "-7"},
                                                  {2147483647, "2147483647"},
                                                  {5000000000, "705032704"},
                                                  {2147483648, "-2147483648"}};
  for (const auto& [value, text] : ints) EXPECT_EQ(ZefaSDKUtils::intToString(value), text);
  const std::pair<double, const char*> doubles[] = {
      {3.14, "3.140000"}, {-0.5, "-0.500000"}, {0.0000001, "0.000000"}, {0.000001, "0.000001"}};
  for (const auto& [value, text] : doubles) EXPECT_EQ(ZefaSDKUtils::doubleToString(value), text);
  EXPECT_FALSE(ZefaSDKUtils::notNull(std::nullopt));
  EXPECT_FALSE(ZefaSDKUtils::notNull(""));
  EXPECT_TRUE(ZefaSDKUtils::notNull(" "));
}

TEST(ZefaSDKUtilsFormatTest, GmtDateTexts) {
  using namespace std::chrono;
  const std::pair<system_clock::duration, const char*> rows[] = {
      {seconds{0}, "1970-01-01 00:00:00"},         {seconds{1700000000}, "2023-11-14 22:13:20"},
      {seconds{951782400}, "2000-02-29 00:00:00"}, {seconds{-1}, "1969-12-31 23:59:59"},
      {milliseconds{1999}, "1970-01-01 00:00:01"}, {seconds{7258118400}, "2200-01-01 00:00:00"}};
  for (const auto& [since, text] : rows) {
    EXPECT_EQ(ZefaSDKUtils::nsDateToGmtString(system_clock::time_point{since}), text);
  }
}

TEST(ZefaSDKUtilsFormatTest, TimeStampTruncatesAndStopsOnImpossibleTimes) {
  const auto clock = std::make_shared<ZefaManualClock>(0);
  ZefaPlatform::current().install(clock);
  for (const auto& [now, seconds] :
       std::initializer_list<std::pair<double, std::optional<int64_t>>>{
           {1700000000.9, 1700000000}, {-1.5, -1}, {NAN, {}}, {1e30, {}}, {-1e30, {}}}) {
    clock->setNow(now);
    if (seconds) {
      EXPECT_EQ(ZefaSDKUtils::getTimeStamp(), *seconds) << now;  // truncated toward zero
    } else {
      EXPECT_DEATH(ZefaSDKUtils::getTimeStamp(), "getTimeStamp") << now;
    }
  }
  ZefaPlatform::current().reset();
}

}  // namespace
