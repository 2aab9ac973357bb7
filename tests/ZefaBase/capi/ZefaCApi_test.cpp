// The C interface from C++: posts against a real local server, whose outcomes arrive only while
// the host drains the main run loop (zefa_main_run_once, woken through zefa_main_wake_fd), on the
// draining thread, with "data" as JSON text and the status as a lent handle; and releases of the
// wrong thing, which stop the program rather than corrupt memory.
#include <gtest/gtest.h>

#include <poll.h>
#include <filesystem>

#include <chrono>
#include <cstdlib>
#include <string>
#include <thread>

#include "ZefaBase/ZefaUserDefaults.h"
#include "ZefaBase/capi/zefa.h"
#include "tests/support/ZefaTestHttpServer.h"

namespace {

// Both copies of the library in this program (libzefa's and the test's) keep their user defaults
// in one fresh directory, so a record stored here is the one the C functions read.
// The directory is removed when the program ends.
const struct FreshDataHome {
  FreshDataHome() {
    if (mkdtemp(directory) == nullptr || setenv("XDG_DATA_HOME", directory, 1) != 0) std::abort();
  }
  ~FreshDataHome() { std::filesystem::remove_all(directory); }
  char directory[32] = "/tmp/zefa_capi_XXXXXX";
} kFreshDataHome;

struct Outcome {
  std::string text;  // "success <json>" or "failed <code> <msg>"
  std::thread::id thread;
};

void onSuccess(const char* json, void* data) {
  *static_cast<Outcome*>(data) = {std::string("success ") + json, std::this_thread::get_id()};
}

void onFailed(const zefa_ZefaStatusCode* status, void* data) {
  char* msg = zefa_ZefaStatusCode_getMsg(status);
  *static_cast<Outcome*>(data) = {
      "failed " + std::to_string(zefa_ZefaStatusCode_getCode(status)) + " " + msg,
      std::this_thread::get_id()};
  zefa_string_free(msg);
}

// Drains the main run loop as a host's event loop would, until `outcome` is set.
bool drain(const Outcome& outcome, double seconds) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
  while (outcome.text.empty() && std::chrono::steady_clock::now() < deadline) {
    pollfd wake{zefa_main_wake_fd(), POLLIN, 0};
    poll(&wake, 1, 100);
    zefa_main_run_once();
  }
  return !outcome.text.empty();
}

TEST(ZefaCApiServerCall, OutcomesArriveOnTheDrainingThread) {
  ASSERT_EQ(std::getenv("XDG_DATA_HOME"), std::string(kFreshDataHome.directory));
  ZefaUserDefaults::standard().setValue(R"({"sessionToken":"disk","gameAccountId":5})",
                                        "ZEFA_LOGIN_TOKEN");
  char* stored = zefa_ZefaServerCall_getSessionTokenFormDisk();
  int64_t id = 0;
  EXPECT_STREQ(stored, "disk");
  EXPECT_TRUE(zefa_ZefaServerCall_getGameAccountIdFormDisk(&id) && id == 5);
  zefa_string_free(stored);
  const struct {
    const char* name;
    bool disk;  // the stored token; else the caller's "tok"
    const char* reply;
    const char* outcome;
  } rows[] = {
      {"data", false, R"({"state":{"code":0},"data":{"b":[1],"a":"x"}})",
       R"(success {"b":[1],"a":"x"})"},
      {"the stored token", true, R"({"state":{"code":0},"data":{}})", "success {}"},
      {"backend failure", false, R"({"state":{"code":7,"msg":"no"}})", "failed 7 no"},
  };
  for (const auto& row : rows) {
    ZefaTestHttpServer server(ZefaScriptedReply{200, row.reply});
    zefa_ZefaServerCall_setHostAndDeviceId___(server.url().c_str(), "game.test", "dev-1");
    Outcome outcome;
    zefa_ZefaServerCall_postJsonAsyncWithTokenAndRetry_______(
        row.disk, "/api/p", R"({"n":1})", "tok", 3, onSuccess, onFailed, &outcome);
    EXPECT_TRUE(outcome.text.empty()) << row.name << ": delivered before the drain";
    ASSERT_TRUE(drain(outcome, 10)) << row.name;
    EXPECT_EQ(outcome.text, row.outcome) << row.name;
    EXPECT_EQ(outcome.thread, std::this_thread::get_id()) << row.name;
    ASSERT_EQ(server.requests().size(), 1u) << row.name << ": posts are never retried";
    const ZefaRecordedRequest request = server.requests()[0];
    EXPECT_EQ(request.target, row.disk ? "/api/p?sessionToken=disk" : "/api/p?sessionToken=tok");
    EXPECT_EQ(request.body, R"({"n":1})") << row.name;
    EXPECT_EQ(request.header("Host"), "game.test") << row.name;
  }
  ZefaUserDefaults::standard().setValue(std::nullopt, "ZEFA_LOGIN_TOKEN");
}

TEST(ZefaCApiServerCall, ARetryingCallRepeatsABackendFailure) {
  ZefaTestHttpServer server(ZefaScriptedReply{500, R"({"state":{"code":9,"msg":"m"}})"});
  const std::string url = server.url("/r");
  const int64_t five = 5, one = 1;
  int64_t left = -1;
  Outcome outcome;
  zefa_ZefaServerCallRetry* call =
      zefa_ZefaServerCallRetry_initWithPrintStr_url_params_retryTime_success_failed_(
          " r ", url.c_str(), "{}", &five, onSuccess, onFailed, &outcome);
  EXPECT_TRUE(zefa_ZefaServerCallRetry_retryTime(call, &left) && left == 5);
  zefa_ZefaServerCallRetry_setRetryTime_(call, nullptr);
  EXPECT_FALSE(zefa_ZefaServerCallRetry_retryTime(call, &left));
  zefa_ZefaServerCallRetry_setRetryTime_(call, &one);
  zefa_ZefaServerCallRetry_call(call);
  zefa_release(call);  // the call keeps itself alive while it is pending
  ASSERT_TRUE(drain(outcome, 15));
  EXPECT_EQ(outcome.text, "failed 9 m");
  EXPECT_EQ(server.requests().size(), 2u);
}

// Each row gives a handle or string to a function that must not take it. Where the mistake
// reads freed memory or memory in front of a block, a sanitizer may be the one to stop it.
TEST(ZefaCApiRelease, TheWrongThingStopsTheProgram) {
  const struct {
    const char* name;
    void (*mistake)();
    const char* message;
  } rows[] = {
      {"a handle released twice",
       [] {
         zefa_ZefaStatusCode* status = zefa_ZefaStatusCode_init();
         zefa_ZefaStatusCode_release(status);
         zefa_release(status);
       },
       "zefa_release: not a live handle|AddressSanitizer|ThreadSanitizer"},
      {"a handle given to another type's release",
       [] {
         zefa_ZefaStatusCodeBuilder_release(
             reinterpret_cast<zefa_ZefaStatusCodeBuilder*>(zefa_ZefaStatusCode_init()));
       },
       "zefa_ZefaStatusCodeBuilder_release: given a zefa_ZefaStatusCode,"},
      {"a string given to a release", [] { zefa_release(zefa_ZefaSDKUtils_intToString_(7)); },
       "zefa_release: not a live handle"},
      {"a string freed twice",
       [] {
         char* text = zefa_ZefaSDKUtils_intToString_(7);
         zefa_string_free(text);
         zefa_string_free(text);
       },
       "zefa_string_free: not a live string|AddressSanitizer|ThreadSanitizer"},
      {"a handle given to the string free",
       [] { zefa_string_free(reinterpret_cast<char*>(zefa_ZefaStatusCode_init())); },
       "zefa_string_free: not a live string|AddressSanitizer|ThreadSanitizer"},
  };
  for (const auto& row : rows) {
    EXPECT_DEATH(row.mistake(), row.message) << row.name;
  }
}

}  // namespace
