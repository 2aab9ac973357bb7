// The C interface seen from C: start-up options, status code handles, listener tables on both
// hubs, ZefaSDKUtils, and the server call paths that need no server (the posts that reach one, and
// the releases that stop the program, are tested in ZefaCApi_test.cpp). A failed check prints its
// row; the program then exits non-zero.
#define _XOPEN_SOURCE 700
#include <ftw.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include "ZefaBase/capi/zefa.h"

static int failures = 0;

static void check(int ok, const char* row, int line) {
  if (!ok) failures += fprintf(stderr, "%s:%d: [%s] failed\n", __FILE__, line, row) > 0;
}
#define CHECK(condition, row) check((condition), (row), __LINE__)

// Compares a returned string with the expected one (NULL: absent) and frees it.
static int takeString(char* actual, const char* expected) {
  int same =
      (actual == NULL || expected == NULL) ? actual == expected : strcmp(actual, expected) == 0;
  if (!same) fprintf(stderr, "  got \"%s\"\n", actual ? actual : "(null)");
  zefa_string_free(actual);
  return same;
}

// Callbacks write each call they receive here.
static char journal[1024];

static void note(const char* format, ...) {
  size_t used = strlen(journal);
  va_list arguments;
  va_start(arguments, format);
  vsnprintf(journal + used, sizeof journal - used, format, arguments);
  va_end(arguments);
}

static int journalIs(const char* expected) {
  int same = strcmp(journal, expected) == 0;
  if (!same) fprintf(stderr, "  journal \"%s\"\n", journal);
  journal[0] = '\0';
  return same;
}

static void disposeListener(void* data) { note("%s.dispose ", (const char*)data); }

// ---- Start-up ----------------------------------------------------------------------------

// The log callback writes each line it receives here.
static char logLines[1024];

static void onLogLine(int level, const char* line, void* data) {
  size_t used = strlen(logLines);
  snprintf(logLines + used, sizeof logLines - used, "%s%d:%s", (const char*)data, level, line);
}

static int writeFile(const char* path, const char* text) {
  FILE* file = fopen(path, "w");
  return file != NULL && fputs(text, file) >= 0 && fclose(file) == 0;
}

static void testStart(const char* home) {
  char bundle[256], data[256], ca[256], missing[256], keychain[300];
  snprintf(bundle, sizeof bundle, "%s/bundle", home);
  snprintf(data, sizeof data, "%s/data", home);
  snprintf(ca, sizeof ca, "%s/ca.pem", home);
  snprintf(missing, sizeof missing, "%s/none.pem", home);
  snprintf(keychain, sizeof keychain, "%s/keychain.sqlite", data);
  char info[300];
  snprintf(info, sizeof info, "%s/Info.json", bundle);
  CHECK(mkdir(bundle, 0700) == 0 && writeFile(ca, "") &&
            writeFile(info, "{\"CFBundleIdentifier\":\"com.zefa.ctest\"}"),
        "test set-up");

  const zefa_options valid = {sizeof(zefa_options), bundle, data, ca, onLogLine, (void*)"log:", 0};
  zefa_options small = valid, unreadable = valid;
  small.struct_size = offsetof(zefa_options, show_info_log);
  unreadable.ca_bundle = missing;
  const struct {
    const char* name;
    const zefa_options* options;
    int applied;
  } rows[] = {
      {"no options", NULL, 0},
      {"a struct without its last member", &small, 0},
      {"a CA bundle that cannot be read", &unreadable, 0},
      {"every option", &valid, 1},
      {"a second start", &valid, 0},
  };
  for (size_t r = 0; r < sizeof rows / sizeof rows[0]; r++) {
    CHECK(zefa_start(rows[r].options) == rows[r].applied, rows[r].name);
  }
  CHECK(takeString(zefa_ZefaSDKUtils_appBundleID(), "com.zefa.ctest"), "the bundle directory");
  zefa_ZefaSDKUtils_saveInKeyChain_key_value_("start", "k", "v");
  CHECK(access(keychain, R_OK) == 0, "the data directory holds the keychain");
  CHECK(takeString(zefa_ZefaServerCall_getSessionTokenFormDisk(), NULL), "no stored token");
  CHECK(strstr(logLines, "log:2:[") == logLines &&
            strstr(logLines, "[getSessionTokenFormDisk()]") &&
            strchr(logLines, '\n') == logLines + strlen(logLines) - 1,
        "one warning line, terminator included, to the callback with its user_data");
  CHECK(strcmp(zefa_version(), ZEFA_EXPECTED_VERSION) == 0, "the version");
}

// ---- Status codes ------------------------------------------------------------------------

static void testStatusCodes(void) {
  zefa_ZefaStatusCode* failed = zefa_ZefaStatusCode_Failed();
  zefa_ZefaStatusCode* own = zefa_ZefaStatusCode_init();
  zefa_ZefaStatusCode_setCode_(own, 7);
  zefa_ZefaStatusCode_setMsg_(own, "seven");
  zefa_ZefaStatusCode_setMsg_(own, NULL);  // ignored
  zefa_ZefaStatusCode* copy = zefa_ZefaStatusCode_withMsg_(failed, "x");
  zefa_release(failed);  // a shared handle: nothing happens
  const struct {
    const char* name;
    const zefa_ZefaStatusCode* status;
    int64_t code;
    const char* msg;
  } rows[] = {
      {"a predefined code", zefa_ZefaStatusCode_CLIENT_UNKNOW_EXCEPTION(), 13001,
       "CLIENT_UNKNOW_EXCEPTION"},
      {"a released shared code lives on, untouched by withMsg", failed, 400, "failed"},
      {"setCode, setMsg", own, 7, "seven"},
      {"withMsg: a copy with the code", copy, 400, "x"},
      {"NULL", NULL, 0, NULL},
  };
  for (size_t r = 0; r < sizeof rows / sizeof rows[0]; r++) {
    CHECK(zefa_ZefaStatusCode_getCode(rows[r].status) == rows[r].code &&
              takeString(zefa_ZefaStatusCode_getMsg(rows[r].status), rows[r].msg),
          rows[r].name);
  }
  CHECK(zefa_ZefaStatusCode_Failed() == failed && copy != failed, "one shared handle per code");
  CHECK(!zefa_ZefaStatusCode_withMsg_(NULL, "x") && !zefa_ZefaStatusCode_withMsg_(failed, NULL),
        "withMsg with NULL");
  const void* made[] = {zefa_ZefaStatusCode_Builder(),
                        zefa_ZefaStatusCodeBuilder_init(),
                        zefa_ZefaLog_init(),
                        copy,
                        own,
                        NULL};
  CHECK(made[0] && made[1] && made[0] != made[1] && made[2], "new objects");
  for (size_t i = 0; i < sizeof made / sizeof made[0]; i++) zefa_release(made[i]);
  zefa_ZefaStatusCode_release(failed);  // shared: nothing
  zefa_ZefaStatusCode_release(zefa_ZefaStatusCode_withMsg_(failed, "typed"));
}

// ---- The lifecycle hub: user_data is the listener's name; every listener answers false ----

static int withOptions(ZefaApplication* app, const char* url, const char* options, void* data) {
  note("%s.options(%s,%s,%s) ", (const char*)data, app ? "app" : "-", url, options);
  return 0;
}

static int withSource(ZefaApplication* app, const char* url, const char* source, void* annotation,
                      void* data) {
  (void)app;
  note("%s.source(%s,%s,%s) ", (const char*)data, url, source ? source : "absent",
       annotation ? "annotated" : "none");
  return 0;
}

static void withScene(ZefaScene* scene, ZefaOpenURLContext* const* contexts, size_t count,
                      void* data) {
  (void)contexts;
  note("%s.scene(%s,%zu) ", (const char*)data, scene ? "scene" : "-", count);
}

static void testLifecycleTables(void) {
  const zefa_ZefaSDKLifecycleProtocol full = {withOptions, withSource, withScene, disposeListener};
  const zefa_ZefaSDKLifecycleProtocol empty = {NULL, NULL, NULL, disposeListener};
  zefa_ZefaSDKLifecycleService* hub = zefa_ZefaSDKLifecycleService_init();
  zefa_listener* skipped = zefa_lifecycle_listener_add(hub, &empty, "skipped");
  zefa_listener* decliner = zefa_lifecycle_listener_add(hub, &full, "decliner");
  ZefaApplication* app = (ZefaApplication*)hub;
  int annotation = 0;
  const struct {
    const char* name;
    int source;  // which application function
    const char* url;
    const char* text;  // options JSON, or the source application
    const char* calls;
  } rows[] = {
      {"options cross as JSON, in key order; NULL entries are skipped", 0, "game://a?b=1",
       "{\"k\":\"v\",\"n\":2,\"t\":true,\"l\":[1]}",
       "decliner.options(app,game://a?b=1,{\"k\":\"v\",\"l\":[1],\"n\":2,\"t\":true}) "},
      {"NULL options are no options", 0, "u", NULL, "decliner.options(app,u,{}) "},
      {"options that are not an object call nobody", 0, "u", "[1]", ""},
      {"a NULL url calls nobody", 0, NULL, NULL, ""},
      {"an absent source stays absent", 1, "u", NULL, "decliner.source(u,absent,annotated) "},
      {"an empty source stays empty", 1, "u", "", "decliner.source(u,,annotated) "},
  };
  for (size_t r = 0; r < sizeof rows / sizeof rows[0]; r++) {
    int handled =
        rows[r].source
            ? zefa_ZefaSDKLifecycleService_application_openURL_sourceApplication_annotation_(
                  hub, app, rows[r].url, rows[r].text, &annotation)
            : zefa_ZefaSDKLifecycleService_application_openURL_options_(hub, app, rows[r].url,
                                                                        rows[r].text);
    CHECK(!handled && journalIs(rows[r].calls), rows[r].name);
  }
  ZefaOpenURLContext* contexts[] = {(ZefaOpenURLContext*)&annotation, (ZefaOpenURLContext*)app,
                                    (ZefaOpenURLContext*)&annotation};
  zefa_ZefaSDKLifecycleService_scene_openURLContexts_(hub, (ZefaScene*)app, contexts, 3);
  zefa_ZefaSDKLifecycleService_scene_openURLContexts_(hub, NULL, NULL, 2);  // ignored
  zefa_ZefaSDKLifecycleService_scene_openURLContexts_(NULL, NULL, contexts, 3);
  CHECK(journalIs("decliner.scene(scene,2) "), "scene gets the set of contexts");

  CHECK(zefa_lifecycle_listener_remove(hub, decliner), "remove the implementing listener");
  CHECK(zefa_ZefaSDKLifecycleService_application_openURL_options_(hub, app, "u", "{}"),
        "only NULL entries left: handled");
  CHECK(!zefa_ZefaSDKLifecycleService_application_openURL_options_(NULL, app, "u", "{}") &&
            !zefa_lifecycle_listener_add(NULL, &full, NULL) &&
            !zefa_lifecycle_listener_add(hub, NULL, NULL),
        "a NULL hub handles nothing; no listener is added to it, nor from a NULL table");
  CHECK(zefa_ZefaSDKLifecycleService_sharedInstance() ==
                zefa_ZefaSDKLifecycleService_sharedInstance() &&
            zefa_ZefaThirdUploadLoggerService_sharedInstance() ==
                zefa_ZefaThirdUploadLoggerService_sharedInstance(),
        "one shared hub of each kind");
  zefa_listener_release(decliner);
  zefa_release(skipped);
  CHECK(journalIs("decliner.dispose "), "removed and released: disposed; still listed: kept");
  zefa_ZefaSDKLifecycleService_release(hub);
  CHECK(journalIs("skipped.dispose "), "the hub's end lets the last one go");
}

// ---- The logger hub ----------------------------------------------------------------------

static void evGameStart(void* u) { note("%s.gameStart ", (const char*)u); }
static void evRegister(void* u) { note("%s.registerEvent ", (const char*)u); }
static void evLogin(void* u) { note("%s.login ", (const char*)u); }
static void evLevel(int64_t level, void* u) {
  note("%s.level(%lld) ", (const char*)u, (long long)level);
}
#define AMOUNT_EVENT(function, label)                                     \
  static void function(double a, const char* x, const char* y, void* u) { \
    note("%s." label "(%g|%s|%s) ", (const char*)u, a, x, y);             \
  }
AMOUNT_EVENT(evCart, "addToCart")
AMOUNT_EVENT(evCheckout, "initCheckout")
AMOUNT_EVENT(evPurchase, "purchase")
AMOUNT_EVENT(evSubscription, "subscription")
static void evAdShow(const char* a, const char* b, const char* c, const char* d, const char* e,
                     double amount, void* u) {
  note("%s.adShow(%s|%s|%s|%s|%s|%g) ", (const char*)u, a, b, c, d, e, amount);
}
static void evLog(const char* name, const char* params, void* u) {
  note("%s.log(%s|%s) ", (const char*)u, name, params);
}

static void testLoggerTables(void) {
  const zefa_ZefaThirdUploadLoggerProtocol full = {
      evGameStart, evRegister,     evLogin,  evLevel, evCart,         evCheckout,
      evPurchase,  evSubscription, evAdShow, evLog,   disposeListener};
  const zefa_ZefaThirdUploadLoggerProtocol buyer = {NULL,       NULL, NULL, NULL, NULL, NULL,
                                                    evPurchase, NULL, NULL, NULL, NULL};
  zefa_ZefaThirdUploadLoggerService* hub = zefa_ZefaThirdUploadLoggerService_init();
  zefa_listener* first = zefa_logger_listener_add(hub, &full, "a");
  zefa_listener* second = zefa_logger_listener_add(hub, &buyer, "b");

  zefa_ZefaThirdUploadLoggerService_gameStart(hub);
  zefa_ZefaThirdUploadLoggerService_registerEvent(hub);
  zefa_ZefaThirdUploadLoggerService_login(hub);
  zefa_ZefaThirdUploadLoggerService_level_(hub, -9000000000LL);
  zefa_ZefaThirdUploadLoggerService_addToCart___(hub, 1.5, "sku", "USD");
  zefa_ZefaThirdUploadLoggerService_initCheckout___(hub, 2.25, "cart", "");
  zefa_ZefaThirdUploadLoggerService_subscription___(hub, -3, "m", "EUR");
  zefa_ZefaThirdUploadLoggerService_purchase___(hub, 0.99, "gem", "JPY");
  zefa_ZefaThirdUploadLoggerService_adShow______(hub, "n", "u", "p", "t", "", 0.01);
  CHECK(journalIs("a.gameStart a.registerEvent a.login a.level(-9000000000) "
                  "a.addToCart(1.5|sku|USD) a.initCheckout(2.25|cart|) a.subscription(-3|m|EUR) "
                  "a.purchase(0.99|gem|JPY) b.purchase(0.99|gem|JPY) a.adShow(n|u|p|t||0.01) "),
        "each event to the adapters implementing it, in list order, arguments unchanged; no log");

  zefa_ZefaThirdUploadLoggerService_purchase___(hub, 1, NULL, "x");
  zefa_ZefaThirdUploadLoggerService_adShow______(hub, "n", "u", "p", NULL, "", 1);
  zefa_ZefaThirdUploadLoggerService_gameStart(NULL);
  CHECK(journalIs(""), "a NULL text or hub forwards nothing");

  CHECK(zefa_logger_listener_remove(hub, first) &&
            !zefa_lifecycle_listener_remove(zefa_ZefaSDKLifecycleService_sharedInstance(), first),
        "remove an adapter, from its hub only");
  zefa_release(first);
  zefa_release(second);
  zefa_release(hub);
  CHECK(journalIs("a.dispose "), "the adapter with a dispose entry is disposed");
}

// ---- ZefaSDKUtils ------------------------------------------------------------------------

static void testSdkUtils(void) {
  zefa_ZefaSDKUtils_saveInKeyChain_key_value_("capi", "\xC3(", "v");
  const struct {
    const char* name;
    char* actual;
    const char* expected;
  } rows[] = {
      {"a value crosses as JSON text", zefa_ZefaSDKUtils_objectToJsonString_("{ \"a\" : \"x/y\" }"),
       "{\"a\":\"x\\/y\"}"},
      {"a NULL value", zefa_ZefaSDKUtils_objectToJsonString_(NULL), NULL},
      {"text that is not JSON", zefa_ZefaSDKUtils_objectToJsonString_("[1"), NULL},
      {"an account that is not UTF-8 has no JSON list", zefa_ZefaSDKUtils_listFromKeyChain_("capi"),
       NULL},
      {"a date given in seconds", zefa_ZefaSDKUtils_nsDateToGmtString_(1700000000.0),
       "2023-11-14 22:13:20"},
      {"a date beyond the clock", zefa_ZefaSDKUtils_nsDateToGmtString_(1e300), NULL},
  };
  for (size_t r = 0; r < sizeof rows / sizeof rows[0]; r++) {
    CHECK(takeString(rows[r].actual, rows[r].expected), rows[r].name);
  }
}

// ---- ZefaServerCall, ZefaServerCallRetry, ZefaStaticInfo (the paths that need no server) --

static void onData(const char* json, void* data) {
  (void)data;
  note("success(%s) ", json);
}

// user_data: the shared handle the status should be, or NULL.
static void onStatus(const zefa_ZefaStatusCode* status, void* data) {
  char* msg = zefa_ZefaStatusCode_getMsg(status);
  note("failed(%lld,%s%s) ", (long long)zefa_ZefaStatusCode_getCode(status), msg,
       (const void*)status == data ? ",shared" : "");
  zefa_string_free(msg);
}

#define HEADERS "{\"Accept\":\"application\\/json\",\"Content-Type\":\"application\\/json\","

static void testServerCall(void) {
  CHECK(takeString(zefa_ZefaServerCall_getRequestHeaders(), HEADERS "\"deviceId\":\"\"}"),
        "default headers");
  zefa_ZefaServerCall_setHostAndDeviceId___("http://h/", "", "d1");
  zefa_ZefaServerCall_setHostAndDeviceId___(NULL, "x", "x");  // ignored
  zefa_ZefaServerCall_setDEVICE_ID_KEY_("X-Dev");
  zefa_ZefaServerCall_setDEVICE_ID_KEY_(NULL);  // ignored
  CHECK(takeString(zefa_ZefaServerCall_getRequestHeaders(),
                   HEADERS "\"Host\":\"\",\"X-Dev\":\"d1\"}"),
        "an empty SET_HOST is present");
  zefa_ZefaServerCall_setSET_HOST_(NULL);
  zefa_ZefaServerCall_setDEVICE_ID_KEY_("deviceId");
  CHECK(takeString(zefa_ZefaServerCall_SET_HOST(), NULL), "a NULL SET_HOST is absent");

  const struct {
    const char* name;
    const char* host;
    int disk;
    const char *path, *token, *url;
  } rows[] = {
      {"glued as they stand", "http://h/", 0, "/p", "", "http://h//p?sessionToken="},
      {"the caller's token", "", 0, "/p", "t k", "/p?sessionToken=t k"},
      {"no stored token: absent, the argument unused", "http://h", 1, "/p", "t", NULL},
      {"a NULL path", "http://h", 0, NULL, NULL, NULL},
  };
  for (size_t r = 0; r < sizeof rows / sizeof rows[0]; r++) {
    zefa_ZefaServerCall_setHOST_(rows[r].host);
    CHECK(takeString(zefa_ZefaServerCall_HOST(), rows[r].host) &&
              takeString(zefa_ZefaServerCall_newUrl___(rows[r].disk, rows[r].path, rows[r].token),
                         rows[r].url),
          rows[r].name);
  }
  int64_t id = 42;
  CHECK(!zefa_ZefaServerCall_getSessionTokenFormDisk() &&
            !zefa_ZefaServerCall_getGameAccountIdFormDisk(&id) && id == 42,
        "no stored login record");

  // Failures found before sending run at once, on this thread; predefined codes come shared.
  zefa_ZefaServerCall_postJsonAsync_____(1, "/p", "{}", onData, onStatus,
                                         zefa_ZefaStatusCode_CLIENT_HAS_NOT_LOGIN());
  zefa_ZefaServerCall_postJsonAsyncWithToken______(0, "/p", "[1]", "t", onData, onStatus,
                                                   zefa_ZefaStatusCode_ErrorParameter());
  zefa_ZefaServerCall_postJsonAsyncWithTokenAndRetry_______(0, NULL, "{}", NULL, 2, onData,
                                                            onStatus, NULL);
  zefa_ZefaServerCall_postJsonAsync_____(1, "/p", "{}", onData, NULL, NULL);
  CHECK(journalIs("failed(11003,CLIENT_HAS_NOT_LOGIN,shared) failed(422,error parameter,shared) "
                  "failed(422,error parameter) "),
        "no login, parameters that are no object, no path; no failed callback");
  CHECK(zefa_main_run_once() == 0 && zefa_main_wake_fd() >= 0, "nothing was posted");

  CHECK(!zefa_ZefaServerCallRetry_initWithPrintStr_url_params_retryTime_success_failed_(
            " p ", "u", "7", NULL, NULL, NULL, NULL),
        "retrying call: params that are not an object");
  zefa_ZefaServerCallRetry_call(NULL);  // nothing

  zefa_ZefaStaticInfo* info = zefa_ZefaStaticInfo_init_("my game");
  char* json = zefa_ZefaStaticInfo_json(info);
  CHECK(json && strstr(json, "{\"gameName\":\"my game\",\"pn\":") == json &&
            strstr(json, "\"platform\":\"ios\"") && strstr(json, "\"band\":\"apple\""),
        "the static info record as JSON");
  zefa_string_free(json);
  CHECK(!zefa_ZefaStaticInfo_init_(NULL) && !zefa_ZefaStaticInfo_json(NULL), "NULL static info");
  zefa_ZefaStaticInfo_release(info);
}

static int removeEntry(const char* path, const struct stat* info, int flag, struct FTW* walk) {
  (void)info, (void)flag, (void)walk;
  return remove(path);
}

int main(void) {
  // Keychain and user defaults in a fresh directory of their own, removed at the end.
  char home[] = "/tmp/zefa_capi_c_XXXXXX";
  if (mkdtemp(home) == NULL || setenv("XDG_DATA_HOME", home, 1) != 0) return 2;
  testStart(home);
  testStatusCodes();
  testLifecycleTables();
  testLoggerTables();
  testSdkUtils();
  testServerCall();
  nftw(home, removeEntry, 8, FTW_DEPTH | FTW_PHYS);
  if (failures > 0) fprintf(stderr, "%d check(s) failed\n", failures);
  return failures == 0 ? 0 : 1;
}
