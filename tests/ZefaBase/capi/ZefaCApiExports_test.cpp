// Proves the C interface complete: every exported selector has its row in the header's export
// table, every row names the function the naming rule gives, the shared library exports each of
// those functions, and it exports nothing else.
#include <gtest/gtest.h>

#include <cctype>
#include <cstdio>
#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "ZefaBase/ZefaStatusCode.h"
#include "ZefaBase/capi/zefa.h"

namespace {

struct Selector {
  std::string className;
  std::string selector;
  bool toCome = false;
};

// Every selector that the library exports, as its classes declare them.
std::vector<Selector> exportedSelectors() {
  std::vector<Selector> all;
#define ZEFA_EXPECT_STATUS_CODE(name, number, text) all.push_back({"ZefaStatusCode", #name});
  ZEFA_STATUS_CODES(ZEFA_EXPECT_STATUS_CODE)
#undef ZEFA_EXPECT_STATUS_CODE
  struct Group {
    std::string className;
    bool toCome;
    std::string selectors;  // separated by blanks
  };
  const std::vector<Group> groups = {
      {"ZefaStatusCode", false, "Builder init getCode setCode: getMsg setMsg: withMsg:"},
      {"ZefaStatusCodeBuilder", false, "init"},
      {"ZefaLog", false, "init"},
      {"ZefaSDKLifecycleService", false,
       "sharedInstance init application:openURL:options: "
       "application:openURL:sourceApplication:annotation: scene:openURLContexts:"},
      {"ZefaThirdUploadLoggerService", false,
       "sharedInstance init gameStart registerEvent login level: addToCart::: initCheckout::: "
       "purchase::: subscription::: adShow::::::"},
      {"ZefaSDKUtils", false, "objectToJsonString: jsonStringToDictionary: jsonStringToArray:"},
      {"ZefaSDKUtils", false,
       "boolToString: intToString: doubleToString: notNull: getTimeStamp nsDateToGmtString:"},
      {"ZefaSDKUtils", false,
       "getMainInfo getMainInfoValueForKey: getMainInfoStringForKey: appBundleID "
       "appBundleShortVersion appBuildVersion appBundleVersionCode readFile:subPath:"},
      {"ZefaSDKUtils", false,
       "keyChainId idfv idfa saveInKeyChain:key:value: getFromKeyChain:key: listFromKeyChain: "
       "removeFromKeyChain:key:"},
      {"ZefaSDKUtils", false,
       "getSystemVersion getDeviceName getDeviceVersionWithRaw getNetworkStatus isVpn isProxy"},
      {"ZefaSDKUtils", false, "get:::::: postJson::::::"},
      {"ZefaServerCall", true,
       "HOST setHOST: SET_HOST setSET_HOST: DEVICE_ID_KEY setDEVICE_ID_KEY: DEVICE_ID "
       "setDEVICE_ID: setHostAndDeviceId::: getRequestHeaders newUrl::: postJsonAsync::::: "
       "postJsonAsyncWithToken:::::: postJsonAsyncWithTokenAndRetry::::::: "
       "getSessionTokenFormDisk getGameAccountIdFormDisk"},
      {"ZefaServerCallRetry", true,
       "initWithPrintStr:url:params:retryTime:success:failed: call callAgain"},
      {"ZefaStaticInfo", true, "init:"},
  };
  for (const Group& g : groups) {
    std::istringstream selectors(g.selectors);
    for (std::string selector; selectors >> selector;) {
      all.push_back({g.className, selector, g.toCome});
    }
  }
  return all;
}

// The functions that handles and listeners need beside the selectors.
const std::set<std::string> kHelpers = {"zefa_release",
                                        "zefa_string_free",
                                        "zefa_lifecycle_listener_add",
                                        "zefa_lifecycle_listener_remove",
                                        "zefa_logger_listener_add",
                                        "zefa_logger_listener_remove"};

std::string functionFor(const std::string& className, std::string selector) {
  for (char& c : selector) {
    if (c == ':') c = '_';
  }
  return "zefa_" + className + "_" + selector;
}

std::string trim(const std::string& text) {
  const size_t first = text.find_first_not_of(' ');
  if (first == std::string::npos) return "";
  return text.substr(first, text.find_last_not_of(' ') - first + 1);
}

std::string headerText() {
  std::ifstream in(std::string(ZEFA_SOURCE_DIR) + "/ZefaBase/capi/zefa.h");
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}

// The export table of the header: (class, selector) -> function, "(to come)" for later ones.
std::map<std::pair<std::string, std::string>, std::string> exportTable() {
  std::map<std::pair<std::string, std::string>, std::string> table;
  std::istringstream lines(headerText());
  for (std::string line; std::getline(lines, line);) {
    if (line.rfind(" * | Zefa", 0) != 0) continue;
    std::vector<std::string> cells;
    std::istringstream row(line.substr(4));
    for (std::string cell; std::getline(row, cell, '|');) cells.push_back(trim(cell));
    if (cells.size() < 3) continue;
    EXPECT_TRUE(table.emplace(std::pair{cells[0], cells[1]}, cells[2]).second)
        << "row repeated: " << line;
  }
  return table;
}

// Every function the header declares.
std::set<std::string> declaredFunctions() {
  std::set<std::string> declared;
  const std::string text = headerText();
  // Declarations start a line with ZEFA_API; the macro's own definitions do not.
  for (size_t at = text.find("\nZEFA_API "); at != std::string::npos;
       at = text.find("\nZEFA_API ", at + 1)) {
    // The function's name is the identifier right before the first parenthesis.
    const size_t open = text.find('(', at);
    if (open == std::string::npos) break;
    size_t name = open;
    while (name > at &&
           (std::isalnum(static_cast<unsigned char>(text[name - 1])) || text[name - 1] == '_')) {
      --name;
    }
    declared.insert(text.substr(name, open - name));
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

TEST(ZefaCApiExports, EverySelectorHasItsRowAndNothingElseDoes) {
  const auto table = exportTable();
  std::set<std::pair<std::string, std::string>> expected;
  for (const Selector& s : exportedSelectors()) {
    expected.insert({s.className, s.selector});
    const auto row = table.find({s.className, s.selector});
    ASSERT_NE(row, table.end()) << s.className << " " << s.selector << " has no row";
    if (s.toCome) {
      EXPECT_EQ(row->second, "(to come)") << s.className << " " << s.selector;
    } else {
      EXPECT_EQ(row->second, functionFor(s.className, s.selector)) << s.selector;
    }
  }
  for (const auto& [key, function] : table) {
    EXPECT_TRUE(expected.count(key)) << key.first << " " << key.second << " is not exported";
  }
}

TEST(ZefaCApiExports, HeaderDeclaresTheTableAndTheHelpersOnly) {
  std::set<std::string> expected = kHelpers;
  for (const auto& [key, function] : exportTable()) {
    if (function != "(to come)") expected.insert(function);
  }
  EXPECT_EQ(declaredFunctions(), expected);
}

TEST(ZefaCApiExports, LibraryExportsEveryBuiltFunctionAndNothingElse) {
  const std::set<std::string> exported = libraryExports();
  ASSERT_FALSE(exported.empty()) << "could not read the symbols of " << ZEFA_CAPI_LIBRARY;
  std::set<std::string> expected = kHelpers;
  for (const Selector& s : exportedSelectors()) {
    if (!s.toCome) expected.insert(functionFor(s.className, s.selector));
  }
  EXPECT_EQ(exported, expected);
}

}  // namespace
