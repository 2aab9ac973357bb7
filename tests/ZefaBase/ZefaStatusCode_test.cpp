#include "ZefaBase/ZefaStatusCode.h"

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <thread>
#include <vector>

namespace {

struct Predefined {
  const ZefaStatusCodeRef& (*get)();
  int64_t code;
  const char* msg;
};

// The catalogue as the game sees it: numbers, messages and spellings (misspellings included)
// are part of the contract.
const Predefined kCatalogue[] = {
    {ZefaStatusCode::Success, 200, "success"},
    {ZefaStatusCode::Failed, 400, "failed"},
    {ZefaStatusCode::ErrorParameter, 422, "error parameter"},
    {ZefaStatusCode::ErrorInternal, 500, "error internal"},
    {ZefaStatusCode::CLIENT_CONNECTION_ERROR, 11001, "CLIENT_CONNECTION_ERROR"},
    {ZefaStatusCode::CLIENT_CODE_NOT_SUCCESS, 11002, "CLIENT_CODE_NOT_SUCCESS"},
    {ZefaStatusCode::CLIENT_HAS_NOT_LOGIN, 11003, "CLIENT_HAS_NOT_LOGIN"},
    {ZefaStatusCode::CLIENT_NOT_SUPPORT_THIS_LOGINTYPE, 11004, "CLIENT_NOT_SUPPORT_THIS_LOGINTYPE"},
    {ZefaStatusCode::CLIENT_GET_LOGIN_PARAMS_FAIL, 11005, "CLIENT_GET_LOGIN_PARAMS_FAIL"},
    {ZefaStatusCode::CLIENT_SDK_NOT_INIT, 11008, "CLIENT_SDK_NOT_INIT"},
    {ZefaStatusCode::CLIENT_AUTO_LOGIN_FAIL, 11009, "CLIENT_AUTO_LOGIN_FAIL"},
    {ZefaStatusCode::CLIENT_HAS_LOGIN, 11010, "CLIENT_HAS_LOGIN"},
    {ZefaStatusCode::CLIENT_APPSTORE_PAY_NOT_CONNECT, 14001, "CLIENT_APPSTORE_PAY_NOT_CONNECT"},
    {ZefaStatusCode::CLIENT_APPSTORE_PAY_RESPONSE_NOTOK, 14002,
     "CLIENT_APPSTORE_PAY_RESPONSE_NOTOK"},
    {ZefaStatusCode::CLIENT_APPSTORE_PAY_SKU_NOT_FOUND, 14003, "CLIENT_APPSTORE_PAY_SKU_NOT_FOUND"},
    {ZefaStatusCode::CLIENT_APPSTORE_PAY_BUY_FAIL, 14004, "CLIENT_APPSTORE_PAY_BUY_FAIL"},
    {ZefaStatusCode::CLIENT_UNKNOW_EXCEPTION, 13001, "CLIENT_UNKNOW_EXCEPTION"},
};

TEST(ZefaStatusCodeTest, CatalogueHasEveryCodeWithItsMessageAndOneSharedInstance) {
  std::set<const ZefaStatusCode*> distinct;
  for (const Predefined& row : kCatalogue) {
    SCOPED_TRACE(row.msg);
    const ZefaStatusCodeRef& first = row.get();
    EXPECT_EQ(first->getCode(), row.code);
    EXPECT_EQ(first->getMsg(), row.msg);
    EXPECT_EQ(first.get(), row.get().get()) << "each access must give the same instance";
    distinct.insert(first.get());
  }
  EXPECT_EQ(distinct.size(), std::size(kCatalogue));
}

TEST(ZefaStatusCodeTest, FirstAccessFromManyThreadsCreatesOneInstance) {
  std::vector<const ZefaStatusCode*> seen(8);
  std::vector<std::thread> threads;
  for (size_t t = 0; t < seen.size(); ++t) {
    threads.emplace_back([&seen, t] { seen[t] = ZefaStatusCode::CLIENT_HAS_LOGIN().get(); });
  }
  for (auto& thread : threads) thread.join();
  for (const auto* code : seen) EXPECT_EQ(code, seen[0]);
}

TEST(ZefaStatusCodeTest, WithMsgCopiesAndLeavesTheSharedInstanceAlone) {
  const ZefaStatusCodeRef copy = ZefaStatusCode::Failed()->withMsg("x");
  EXPECT_EQ(copy->getCode(), 400);
  EXPECT_EQ(copy->getMsg(), "x");
  EXPECT_NE(copy.get(), ZefaStatusCode::Failed().get());
  EXPECT_EQ(ZefaStatusCode::Failed()->getMsg(), "failed");
}

TEST(ZefaStatusCodeTest, ToStringRendersOptionalPartsAndQuotesTheMessage) {
  const struct {
    const char* name;
    std::optional<int64_t> code;
    std::optional<std::string> msg;
    const char* expected;
  } rows[] = {
      {"both present", 200, "success",
       R"(ZefaBaseCode{code=Optional(200), msg=Optional("success")})"},
      {"both absent", std::nullopt, std::nullopt, "ZefaBaseCode{code=nil, msg=nil}"},
      {"code only", 7, std::nullopt, "ZefaBaseCode{code=Optional(7), msg=nil}"},
      {"negative code, empty message", -1, "",
       R"(ZefaBaseCode{code=Optional(-1), msg=Optional("")})"},
      {"message with quote, backslash and control characters", 1, "a\"b\\c\nd\re\tf\x01",
       R"(ZefaBaseCode{code=Optional(1), msg=Optional("a\"b\\c\nd\re\tf\u{1}")})"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    ZefaStatusCode status;
    status.code = row.code;
    status.msg = row.msg;
    EXPECT_EQ(status.toString(), row.expected);
  }
}

TEST(ZefaStatusCodeTest, BuilderReturnsTheObjectUnderConstructionItself) {
  ZefaStatusCodeBuilder builder = ZefaStatusCode::Builder();
  const ZefaStatusCodeRef built = builder.code(7).build();
  EXPECT_EQ(built->toString(), "ZefaBaseCode{code=Optional(7), msg=nil}");
  EXPECT_EQ(builder.build().get(), built.get());
  builder.msg("later");
  EXPECT_EQ(built->getMsg(), "later");
}

TEST(ZefaStatusCodeTest, SettersChangeTheInstanceForEveryHolder) {
  ZefaStatusCodeRef a = std::make_shared<ZefaStatusCode>();
  ZefaStatusCodeRef b = a;
  a->setCode(5);
  a->setMsg("five");
  EXPECT_EQ(b->getCode(), 5);
  EXPECT_EQ(b->getMsg(), "five");
}

TEST(ZefaStatusCodeDeathTest, ReadingAnAbsentPartStopsTheProgram) {
  const ZefaStatusCode empty;
  EXPECT_DEATH((void)empty.getCode(), "getCode\\(\\) on a ZefaStatusCode whose code is absent");
  EXPECT_DEATH((void)empty.getMsg(), "getMsg\\(\\) on a ZefaStatusCode whose msg is absent");
  EXPECT_DEATH((void)empty.withMsg("m"),
               "withMsg\\(_:\\) on a ZefaStatusCode whose code is absent");
  ZefaStatusCode codeOnly;
  codeOnly.setCode(1);
  EXPECT_DEATH((void)codeOnly.getMsg(), "msg is absent");
}

}  // namespace
