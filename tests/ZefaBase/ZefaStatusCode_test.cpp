#include "ZefaBase/ZefaStatusCode.h"

#include <gtest/gtest.h>

#include <set>

namespace {

using Get = const ZefaStatusCodeRef& (*)();
using S = ZefaStatusCode;

// The catalogue as games and the backend know it, misspellings and gaps included.
TEST(ZefaStatusCodeTest, CatalogueHasEveryCodeAsOneSharedInstance) {
  const struct {
    Get get;
    int64_t code;
    const char* msg;
  } rows[] = {
      {S::Success, 200, "success"},
      {S::Failed, 400, "failed"},
      {S::ErrorParameter, 422, "error parameter"},
      {S::ErrorInternal, 500, "error internal"},
      {S::CLIENT_CONNECTION_ERROR, 11001, "CLIENT_CONNECTION_ERROR"},
      {S::CLIENT_CODE_NOT_SUCCESS, 11002, "CLIENT_CODE_NOT_SUCCESS"},
      {S::CLIENT_HAS_NOT_LOGIN, 11003, "CLIENT_HAS_NOT_LOGIN"},
      {S::CLIENT_NOT_SUPPORT_THIS_LOGINTYPE, 11004, "CLIENT_NOT_SUPPORT_THIS_LOGINTYPE"},
      {S::CLIENT_GET_LOGIN_PARAMS_FAIL, 11005, "CLIENT_GET_LOGIN_PARAMS_FAIL"},
      {S::CLIENT_SDK_NOT_INIT, 11008, "CLIENT_SDK_NOT_INIT"},
      {S::CLIENT_AUTO_LOGIN_FAIL, 11009, "CLIENT_AUTO_LOGIN_FAIL"},
      {S::CLIENT_HAS_LOGIN, 11010, "CLIENT_HAS_LOGIN"},
      {S::CLIENT_APPSTORE_PAY_NOT_CONNECT, 14001, "CLIENT_APPSTORE_PAY_NOT_CONNECT"},
      {S::CLIENT_APPSTORE_PAY_RESPONSE_NOTOK, 14002, "CLIENT_APPSTORE_PAY_RESPONSE_NOTOK"},
      {S::CLIENT_APPSTORE_PAY_SKU_NOT_FOUND, 14003, "CLIENT_APPSTORE_PAY_SKU_NOT_FOUND"},
      {S::CLIENT_APPSTORE_PAY_BUY_FAIL, 14004, "CLIENT_APPSTORE_PAY_BUY_FAIL"},
      {S::CLIENT_UNKNOW_EXCEPTION, 13001, "CLIENT_UNKNOW_EXCEPTION"},
  };
  std::set<const ZefaStatusCode*> distinct;
  for (const auto& row : rows) {
    EXPECT_EQ(row.get()->getCode(), row.code) << row.msg;
    EXPECT_EQ(row.get()->getMsg(), row.msg);
    EXPECT_EQ(row.get().get(), row.get().get()) << row.msg << ": one instance on every access";
    distinct.insert(row.get().get());
  }
  EXPECT_EQ(distinct.size(), std::size(rows));
}

TEST(ZefaStatusCodeTest, ToStringRendersOptionalPartsAndQuotesTheMessage) {
  const struct {
    std::optional<int64_t> code;
    std::optional<std::string> msg;
    const char* expected;
  } rows[] = {
      {200, "success", R"(ZefaBaseCode{code=Optional(200), msg=Optional("success")})"},
      {std::nullopt, std::nullopt, "ZefaBaseCode{code=nil, msg=nil}"},
      {7, std::nullopt, "ZefaBaseCode{code=Optional(7), msg=nil}"},
      {-1, "", R"(ZefaBaseCode{code=Optional(-1), msg=Optional("")})"},
      {1, "a\"b\\c\nd\re\tf\x01",
       R"(ZefaBaseCode{code=Optional(1), msg=Optional("a\"b\\c\nd\re\tf\u{1}")})"},
  };
  for (const auto& row : rows) {
    ZefaStatusCode status;
    status.code = row.code;
    status.msg = row.msg;
    EXPECT_EQ(status.toString(), row.expected);
  }
}

TEST(ZefaStatusCodeTest, WithMsgCopiesWhileBuildersAndSettersShareTheObject) {
  const ZefaStatusCodeRef copy = S::Failed()->withMsg("x");
  EXPECT_EQ(copy->toString(), R"(ZefaBaseCode{code=Optional(400), msg=Optional("x")})");
  EXPECT_EQ(S::Failed()->getMsg(), "failed");

  ZefaStatusCodeBuilder builder = S::Builder();
  const ZefaStatusCodeRef built = builder.code(7).build();
  EXPECT_EQ(builder.build().get(), built.get());
  builder.msg("later");  // the object already returned changes too
  EXPECT_EQ(built->getMsg(), "later");
  ZefaStatusCodeRef alias = built;
  alias->setCode(5);
  EXPECT_EQ(built->getCode(), 5);
}

TEST(ZefaStatusCodeDeathTest, ReadingAnAbsentPartStopsTheProgram) {
  const ZefaStatusCode empty;
  EXPECT_DEATH((void)empty.getCode(), "getCode\\(\\) on a ZefaStatusCode whose code is absent");
  EXPECT_DEATH((void)empty.getMsg(), "getMsg\\(\\) on a ZefaStatusCode whose msg is absent");
  EXPECT_DEATH((void)empty.withMsg("m"),
               "withMsg\\(_:\\) on a ZefaStatusCode whose code is absent");
}

}  // namespace
