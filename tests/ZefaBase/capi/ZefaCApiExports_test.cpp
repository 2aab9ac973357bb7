// Proves the C interface complete: every exported selector has its row in the header's export
// table, every row names the function the naming rule gives, the header declares those functions
// and the helpers only, and the shared library exports exactly them.
#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
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

// The functions that handles, listeners and the main thread need beside the selectors.
const std::set<std::string> kHelpers = {"zefa_release",
                                        "zefa_string_free",
                                        "zefa_lifecycle_listener_add",
                                        "zefa_logger_listener_add",
                                        "zefa_lifecycle_listener_remove",
                                        "zefa_logger_listener_remove",
                                        "zefa_ZefaStaticInfo_json",
                                        "zefa_main_run_once",
                                        "zefa_main_wake_fd"};

std::string functionFor(const Key& key) {
  return "zefa_" + key.first + "_" + std::regex_replace(key.second, std::regex(":"), "_");
}

std::string headerText() {
  std::ifstream in(std::string(ZEFA_SOURCE_DIR) + "/ZefaBase/capi/zefa.h");
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}

// The header's export table, (class, selector) -> function; a repeated row fails.
std::map<Key, std::string> exportTable() {
  std::map<Key, std::string> table;
  const std::string text = headerText();
  const std::regex row(R"(\n \* \| (Zefa\w+) *\| (\S+) *\| (\S+) *\|)");
  for (std::sregex_iterator it(text.begin(), text.end(), row), end; it != end; ++it) {
    EXPECT_TRUE(table.emplace(Key{(*it)[1], (*it)[2]}, (*it)[3]).second) << it->str();
  }
  return table;
}

// Every function the header declares: the name before the parenthesis of a ZEFA_API line.
std::set<std::string> declaredFunctions() {
  std::set<std::string> declared;
  const std::string text = headerText();
  const std::regex declaration(R"(\nZEFA_API [^(;]*?(\w+)\()");
  for (std::sregex_iterator it(text.begin(), text.end(), declaration), end; it != end; ++it) {
    declared.insert((*it)[1]);
  }
  return declared;
}

// The functions the shared library exports, from its dynamic symbol table.
std::set<std::string> libraryExports() {
  std::set<std::string> exported;
  const std::string command = std::string("nm -D --defined-only '") + ZEFA_CAPI_LIBRARY + "'";
  FILE* pipe = popen(command.c_str(), "r");
  if (pipe == nullptr) return exported;
  char line[512];
  while (std::fgets(line, sizeof line, pipe) != nullptr) {
    std::istringstream fields(line);
    std::string address, type, name;
    fields >> address >> type >> name;
    if (type != "A" && !name.empty()) exported.insert(name);
  }
  pclose(pipe);
  return exported;
}

TEST(ZefaCApiExports, TheTableHasOneRowPerSelectorNamedByTheRule) {
  std::map<Key, std::string> expected;
  for (const Key& key : exportedSelectors()) expected[key] = functionFor(key);
  EXPECT_EQ(exportTable(), expected);
}

TEST(ZefaCApiExports, TheHeaderAndTheLibraryHaveTheTableAndTheHelpersOnly) {
  std::set<std::string> expected = kHelpers;
  for (const Key& key : exportedSelectors()) expected.insert(functionFor(key));
  EXPECT_EQ(declaredFunctions(), expected);
  const std::set<std::string> exported = libraryExports();
  ASSERT_FALSE(exported.empty()) << "could not read the symbols of " << ZEFA_CAPI_LIBRARY;
  EXPECT_EQ(exported, expected);
}

}  // namespace
