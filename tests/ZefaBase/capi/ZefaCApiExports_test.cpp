// Proves the C interface complete: every exported selector has its row in the header's export
// table, every row names the function the naming rule gives, the header declares those functions
// and the helpers only, and the shared library exports exactly them.
#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <string>

#include "ZefaBase/ZefaStatusCode.h"

namespace {

using Key = std::pair<std::string, std::string>;  // class, selector

// Every selector that the library exports, as its classes declare them.
std::set<Key> exportedSelectors() {
  std::set<Key> all;
#define ZEFA_EXPECT_STATUS_CODE(name, number, text) all.insert({"ZefaStatusCode", #name});
  ZEFA_STATUS_CODES(ZEFA_EXPECT_STATUS_CODE)
#undef ZEFA_EXPECT_STATUS_CODE
  const std::multimap<std::string, std::string> groups = {
      {"ZefaStatusCode", "Builder init getCode setCode: getMsg setMsg: withMsg:"},
      {"ZefaStatusCodeBuilder", "init"},
      {"ZefaLog", "init"},
      {"ZefaSDKLifecycleService",
       "sharedInstance init application:openURL:options: "
       "application:openURL:sourceApplication:annotation: scene:openURLContexts:"},
      {"ZefaThirdUploadLoggerService",
       "sharedInstance init gameStart registerEvent login level: addToCart::: initCheckout::: "
       "purchase::: subscription::: adShow::::::"},
      {"ZefaSDKUtils",
       "objectToJsonString: jsonStringToDictionary: jsonStringToArray: boolToString: "
       "intToString: doubleToString: notNull: getTimeStamp nsDateToGmtString: getMainInfo "
       "getMainInfoValueForKey: getMainInfoStringForKey: appBundleID appBundleShortVersion "
       "appBuildVersion appBundleVersionCode readFile:subPath: keyChainId idfv idfa "
       "saveInKeyChain:key:value: getFromKeyChain:key: listFromKeyChain: removeFromKeyChain:key: "
       "getSystemVersion getDeviceName getDeviceVersionWithRaw getNetworkStatus isVpn isProxy "
       "get:::::: postJson::::::"},
      {"ZefaServerCall",
       "HOST setHOST: SET_HOST setSET_HOST: DEVICE_ID_KEY setDEVICE_ID_KEY: DEVICE_ID "
       "setDEVICE_ID: setHostAndDeviceId::: getRequestHeaders newUrl::: postJsonAsync::::: "
       "postJsonAsyncWithToken:::::: postJsonAsyncWithTokenAndRetry::::::: "
       "getSessionTokenFormDisk getGameAccountIdFormDisk"},
      {"ZefaServerCallRetry",
       "initWithPrintStr:url:params:retryTime:success:failed: call callAgain retryTime "
       "setRetryTime:"},
      {"ZefaStaticInfo", "init:"},
  };
  for (const auto& [className, selectors] : groups) {
    std::istringstream words(selectors);
    for (std::string selector; words >> selector;) all.insert({className, selector});
  }
  return all;
}

// The functions that start-up, handles, listeners and the main thread need beside the selectors.
const char* const kHelpers =
    "zefa_start zefa_version zefa_release zefa_string_free zefa_lifecycle_listener_add "
    "zefa_logger_listener_add zefa_lifecycle_listener_remove zefa_logger_listener_remove "
    "zefa_ZefaStaticInfo_json zefa_main_run_once zefa_main_wake_handle zefa_main_wake_fd "
    "zefa_listener_release "
    "zefa_ZefaStatusCode_release zefa_ZefaStatusCodeBuilder_release zefa_ZefaLog_release "
    "zefa_ZefaSDKLifecycleService_release zefa_ZefaThirdUploadLoggerService_release "
    "zefa_ZefaServerCallRetry_release zefa_ZefaStaticInfo_release";

// The first group of every match of `pattern` in `text`.
std::set<std::string> names(const std::string& text, const std::string& pattern) {
  std::set<std::string> found;
  const std::regex regex(pattern);
  for (std::sregex_iterator it(text.begin(), text.end(), regex), end; it != end; ++it) {
    found.insert((*it)[1]);
  }
  return found;
}

std::string headerText() {
  std::ifstream in(std::string(ZEFA_SOURCE_DIR) + "/ZefaBase/capi/zefa.h");
  return {std::istreambuf_iterator<char>(in), {}};
}

// The header's export table, (class, selector) -> function; a repeated row fails.
std::map<Key, std::string> exportTable() {
  std::map<Key, std::string> table;
  for (const std::string& row : names(headerText(), R"(\n \* (\| Zefa.*\|))")) {
    std::smatch cells;
    std::regex_match(row, cells, std::regex(R"(\| (\w+) *\| (\S+) *\| (\S+) *\|)"));
    EXPECT_TRUE(table.emplace(Key{cells[1], cells[2]}, cells[3]).second) << row;
  }
  return table;
}

// The functions the shared library exports (its defined dynamic symbols).
std::set<std::string> libraryExports() {
  std::string symbols;
  FILE* pipe =
      popen((std::string("nm -D --defined-only '") + ZEFA_CAPI_LIBRARY + "'").c_str(), "r");
  if (pipe == nullptr) return {};
  for (int c; (c = std::fgetc(pipe)) != EOF;) symbols += static_cast<char>(c);
  pclose(pipe);
  return names(symbols, R"( [^A ] (\w+)\n)");
}

// The table has one row per selector, named by the rule; the header and the library have the
// table's functions and the helpers only.
TEST(ZefaCApiExports, TableHeaderAndLibraryAgree) {
  std::map<Key, std::string> table;
  std::istringstream helpers(kHelpers);
  std::set<std::string> expected{std::istream_iterator<std::string>(helpers), {}};
  for (const auto& [className, selector] : exportedSelectors()) {
    const std::string function =
        "zefa_" + className + "_" + std::regex_replace(selector, std::regex(":"), "_");
    expected.insert(table[{className, selector}] = function);
  }
  EXPECT_EQ(exportTable(), table);
  // The header's functions: the name before the parenthesis of each ZEFA_API line.
  EXPECT_EQ(names(headerText(), R"(\nZEFA_API [^(;]*?(\w+)\()"), expected);
  const std::set<std::string> exported = libraryExports();
  ASSERT_FALSE(exported.empty()) << "could not read the symbols of " << ZEFA_CAPI_LIBRARY;
  EXPECT_EQ(exported, expected);
}

}  // namespace
