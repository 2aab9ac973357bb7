// zefa-backend run as a process, driven by `zefa post`, by the library and by raw requests.
#include "tools/backend/ZefaDevBackend.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "ZefaBase/ZefaConstants.h"
#include "ZefaBase/ZefaServerCallRetry.h"
#include "platform/linux/ZefaCurlHttpClient.h"
#include "platform/linux/ZefaRunLoop.h"
#include "tests/platform/ZefaHttpCompletions.h"
#include "tests/platform/ZefaTestMachine.h"
#include "tests/support/ZefaCallOutcome.h"
#include "tests/tools/ZefaChildProcess.h"

namespace {

class ZefaDevBackendTest : public testing::Test {
 protected:
  // Starts zefa-backend on a free port with its state in this test's database file.
  void startBackend(std::vector<std::string> extra = {}) {
    std::vector<std::string> arguments{ZEFA_BACKEND_PROGRAM, "--db", dir_ + "/state.sqlite"};
    arguments.insert(arguments.end(), extra.begin(), extra.end());
    backend_ = std::make_unique<ZefaChildProcess>(arguments, dir_ + "/backend.log");
    url_ = backend_->firstLine(10).value_or("");
    ASSERT_EQ(url_.rfind("http://127.0.0.1:", 0), 0u) << backend_->errors();
  }
  // Stops the backend as an operator would; it must exit cleanly.
  void stopBackend() {
    backend_->signal(SIGTERM);
    EXPECT_EQ(backend_->wait(10), 0);
  }
  // Runs `zefa post` against the backend; {exit code, standard output}.
  std::pair<int, std::string> post(std::vector<std::string> arguments,
                                   const std::string& device = "DEVICE-1") {
    arguments.insert(arguments.begin(), {ZEFA_CLI_PROGRAM, "post", "--quiet", "--data", dir_,
                                         "--host", url_, "--device-id", device});
    ZefaChildProcess zefa(arguments, dir_ + "/post.out");
    return {zefa.wait(40).value_or(-1), zefa.output()};
  }
  std::string login(const std::string& device = "DEVICE-1") {
    const auto [code, out] = post({"/api/user/login", R"({"loginType":"guest"})"}, device);
    const auto data = ZefaJsonText::parse(out);
    return code == 0 && data ? data->value("sessionToken", "") : "";
  }

  ZefaTempDirectory temp_;
  const std::string dir_ = temp_.path();
  std::string url_;
  std::unique_ptr<ZefaChildProcess> backend_;  // stopped before its directory goes
};

TEST_F(ZefaDevBackendTest, AnswersEveryCallWithTheEnvelopeThroughZefaPost) {
  startBackend();
  const std::string token = login();
  ASSERT_FALSE(token.empty());
  struct Row {
    const char* name;
    std::vector<std::string> arguments;
    int exitCode;
    const char* output;  // expected in standard output
  };
  const std::vector<Row> rows = {
      {"the token from login",
       {"--token", token, "/api/user/info"},
       0,
       R"("gameAccountId":100001)"},
      {"auth with it", {"--token", token, "/api/user/auth"}, 0, R"("valid":true)"},
      {"an unknown token",
       {"--token", "forged", "/api/user/info"},
       1,
       R"({"code":401,"msg":"unknown session token"})"},
      {"no token",
       {"/api/user/info"},
       1,
       R"({"code":401,"msg":"missing parameter: sessionToken"})"},
      {"a binding",
       {"--token", token, "/api/user/bind", R"({"bindType":"google","openId":"g1"})"},
       0,
       R"("bindings":[{"bindType":"google","openId":"g1"}])"},
      {"an unknown item",
       {"--token", token, "/api/pay/getPaymentParams", R"({"sku":"nope"})"},
       1,
       R"({"code":404,"msg":"unknown item: nope"})"},
      {"an empty receipt",
       {"--token", token, "/api/pay/appstoreCheck", R"({"sku":"vip_monthly","receipt":""})"},
       1,
       R"({"code":422,"msg":"missing parameter: receipt"})"},
      {"a receipt for an item",
       {"--token", token, "/api/pay/appstoreCheck", R"({"sku":"vip_monthly","receipt":"r"})"},
       0,
       R"("state":"paid")"},
      {"its subscription", {"--token", token, "/api/pay/appleQuerySub"}, 0, R"("active":true)"},
      {"an unconsumed order",
       {"--token", token, "/api/pay/getUncomsueItem"},
       0,
       R"("sku":"vip_monthly","state":"paid")"},
  };
  for (const Row& row : rows) {
    const auto [code, out] = post(row.arguments);
    EXPECT_EQ(code, row.exitCode) << row.name << ": " << out;
    EXPECT_NE(out.find(row.output), std::string::npos) << row.name << ": " << out;
  }
}

// {HTTP status, body} of a raw POST, for requests the library would never send.
std::pair<int64_t, std::string> rawPost(const std::string& url, const std::string& body) {
  ZefaCurlHttpClient client;
  ZefaHttpCompletions done;
  client.start({"POST", url, {}, body, 20}, done.slot());
  if (!done.waitFor(1, 30)) return {0, ""};
  return {done.responses[0].status, done.responses[0].body.value_or("")};
}

TEST_F(ZefaDevBackendTest, HostileRequestsGetAFailureEnvelopeAndTheServerLivesOn) {
  startBackend();
  struct Row {
    const char* name;
    std::string path, body;
    int64_t status;
    int64_t code;
  };
  const std::vector<Row> rows = {
      {"a 10 MB body", "/api/user/login", std::string(10 << 20, '{'), 413, 413},
      {"invalid JSON", "/api/user/login", "{\"loginType\":", 400, 400},
      {"JSON that is not an object", "/api/pay/sdkConsume", "[1,2]", 400, 400},
      {"an unknown path", "/api/user/../admin", "{}", 404, 404},
      {"bytes that are not UTF-8", "/api/user/login", "{\"loginType\":\"\xff\"}", 400, 400},
  };
  for (const Row& row : rows) {
    const auto [status, body] = rawPost(url_ + row.path, row.body);
    EXPECT_EQ(status, row.status) << row.name;
    const auto envelope = ZefaJsonText::parse(body);
    ASSERT_TRUE(envelope) << row.name << ": " << body;
    EXPECT_EQ((*envelope)["state"]["code"], row.code) << row.name;
  }
  EXPECT_FALSE(backend_->wait(0)) << "the backend exited";
  EXPECT_FALSE(login().empty());
  // The address, then one line per request.
  const std::string log = backend_->output();
  EXPECT_EQ(std::count(log.begin(), log.end(), '\n'), 1 + rows.size() + 1) << log;
}

TEST_F(ZefaDevBackendTest, ARestartWithTheSameDatabaseKeepsPlayersAndTokens) {
  startBackend();
  const std::string token = login("DEVICE-7");
  ASSERT_FALSE(token.empty());
  stopBackend();
  startBackend();
  const auto [code, out] = post({"--token", token, "/api/user/info"});
  EXPECT_EQ(code, 0) << out;
  const auto [again, relogin] = post({"/api/user/login", R"({"loginType":"guest"})"}, "DEVICE-7");
  EXPECT_NE(relogin.find(R"("gameAccountId":100001)"), std::string::npos) << relogin;
  EXPECT_NE(relogin.find(R"("isNew":false)"), std::string::npos) << relogin;
}

// A failure scripted twice is healed by `zefa post --retry 2`; a call object with one retry too few
// reports the backend's scripted code and message. The two run at once.
TEST_F(ZefaDevBackendTest, ScriptedFailuresAreHealedByRetries) {
  startBackend({"--fail", "/api/pay/appleQuerySub=7:busyx2", "--fail", "/api/user/login=8x2"});
  ZefaServerCall::DEVICE_ID = "DEVICE-1";
  auto tooFew = std::make_shared<ZefaCallOutcome>();
  std::make_shared<ZefaServerCallRetry>(" sub ", url_ + "/api/pay/appleQuerySub?sessionToken=t",
                                        ZefaJsonObject{}, 1, tooFew->success(), tooFew->failed())
      ->call();
  ZefaChildProcess cli({ZEFA_CLI_PROGRAM, "post", "--data", dir_, "--host", url_, "--device-id",
                        "D", "--retry", "2", "/api/user/login", R"({"loginType":"guest"})"},
                       dir_ + "/retry.out");
  ZefaRunLoop::main().run([&] { return tooFew->calls; }, 20);

  ASSERT_EQ(tooFew->calls, 1);
  ASSERT_TRUE(tooFew->status);
  EXPECT_EQ(tooFew->status->code, 7);
  EXPECT_EQ(tooFew->status->msg, "busy");
  EXPECT_EQ(cli.wait(20), 0) << cli.errors();
  EXPECT_NE(cli.output().find("sessionToken"), std::string::npos) << cli.output();
  EXPECT_NE(cli.errors().find("fail and retry"), std::string::npos) << cli.errors();
}

}  // namespace
