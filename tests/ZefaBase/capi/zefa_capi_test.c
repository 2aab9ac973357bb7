/*
 * The C interface seen from C: status code handles, listener tables on both hubs, and the
 * ZefaSDKUtils functions built into this library. A failed check prints its row; the program
 * then exits non-zero.
 */
#include <signal.h>
#include <stdarg.h>
#include <stdio.h>
#include <string.h>
#include <sys/wait.h>
#include <unistd.h>

#include "ZefaBase/capi/zefa.h"

static int failures = 0;

#define CHECK(condition, row)                                                             \
  do {                                                                                    \
    if (!(condition)) {                                                                   \
      fprintf(stderr, "%s:%d: [%s] failed: %s\n", __FILE__, __LINE__, (row), #condition); \
      failures++;                                                                         \
    }                                                                                     \
  } while (0)

/* Compares a returned string with the expected one (NULL: absent) and frees it. */
static int takeString(char* actual, const char* expected) {
  int same =
      (actual == NULL || expected == NULL) ? actual == expected : strcmp(actual, expected) == 0;
  if (!same) fprintf(stderr, "  got \"%s\"\n", actual ? actual : "(null)");
  zefa_string_free(actual);
  return same;
}

/* Listeners write each call they receive here; dispose counts the listeners let go. */
static char journal[1024];
static int disposed = 0;

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

/* ---- Status codes ------------------------------------------------------------------------ */

static void testStatusCodes(void) {
  const struct {
    const char* name;
    zefa_ZefaStatusCode* (*get)(void);
    int64_t code;
    const char* msg;
  } rows[] = {
      {"Success", zefa_ZefaStatusCode_Success, 200, "success"},
      {"CLIENT_UNKNOW_EXCEPTION", zefa_ZefaStatusCode_CLIENT_UNKNOW_EXCEPTION, 13001,
       "CLIENT_UNKNOW_EXCEPTION"},
  };
  for (size_t i = 0; i < sizeof rows / sizeof rows[0]; i++) {
    zefa_ZefaStatusCode* shared = rows[i].get();
    CHECK(zefa_ZefaStatusCode_getCode(shared) == rows[i].code, rows[i].name);
    CHECK(takeString(zefa_ZefaStatusCode_getMsg(shared), rows[i].msg), rows[i].name);
    zefa_release(shared); /* does nothing: the same live handle comes back */
    CHECK(rows[i].get() == shared && zefa_ZefaStatusCode_getCode(shared) == rows[i].code,
          rows[i].name);
  }

  zefa_ZefaStatusCode* own = zefa_ZefaStatusCode_init();
  zefa_ZefaStatusCode_setCode_(own, 7);
  zefa_ZefaStatusCode_setMsg_(own, "seven");
  zefa_ZefaStatusCode_setMsg_(own, NULL);
  CHECK(zefa_ZefaStatusCode_getCode(own) == 7, "setCode");
  CHECK(takeString(zefa_ZefaStatusCode_getMsg(own), "seven"), "setMsg, then NULL ignored");

  zefa_ZefaStatusCode* failed = zefa_ZefaStatusCode_Failed();
  zefa_ZefaStatusCode* copy = zefa_ZefaStatusCode_withMsg_(failed, "x");
  CHECK(copy != failed && zefa_ZefaStatusCode_getCode(copy) == 400, "withMsg copies the code");
  CHECK(takeString(zefa_ZefaStatusCode_getMsg(copy), "x"), "withMsg sets the copy's msg");
  CHECK(takeString(zefa_ZefaStatusCode_getMsg(failed), "failed"), "the shared code is untouched");

  CHECK(zefa_ZefaStatusCode_getCode(NULL) == 0, "getCode of NULL");
  CHECK(zefa_ZefaStatusCode_getMsg(NULL) == NULL, "getMsg of NULL");
  CHECK(zefa_ZefaStatusCode_withMsg_(NULL, "x") == NULL, "withMsg of NULL");
  CHECK(zefa_ZefaStatusCode_withMsg_(failed, NULL) == NULL, "withMsg with a NULL msg");
  zefa_ZefaStatusCode_setCode_(NULL, 1);
  zefa_release(NULL);

  zefa_ZefaStatusCodeBuilder* builder = zefa_ZefaStatusCode_Builder();
  zefa_ZefaStatusCodeBuilder* other = zefa_ZefaStatusCodeBuilder_init();
  zefa_ZefaLog* log = zefa_ZefaLog_init();
  CHECK(builder != NULL && other != NULL && builder != other && log != NULL, "new objects");
  zefa_release(builder);
  zefa_release(other);
  zefa_release(log);
  zefa_release(copy);
  zefa_release(own);
}

/* The fatal preconditions stop the program: each runs in a child that must die by SIGABRT. */
static void absentCode(void) { zefa_ZefaStatusCode_getCode(zefa_ZefaStatusCode_init()); }
static void absentMsg(void) { zefa_ZefaStatusCode_getMsg(zefa_ZefaStatusCode_init()); }
static void copyAbsentCode(void) { zefa_ZefaStatusCode_withMsg_(zefa_ZefaStatusCode_init(), "m"); }

static void testFatalPreconditions(void) {
  const struct {
    const char* name;
    void (*run)(void);
  } rows[] = {{"getCode of an absent code", absentCode},
              {"getMsg of an absent msg", absentMsg},
              {"withMsg on an absent code", copyAbsentCode}};
  for (size_t i = 0; i < sizeof rows / sizeof rows[0]; i++) {
    fflush(NULL);
    pid_t child = fork();
    if (child == 0) {
      if (freopen("/dev/null", "w", stderr) == NULL) _exit(2);
      rows[i].run();
      _exit(0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    CHECK(WIFSIGNALED(status) && WTERMSIG(status) == SIGABRT, rows[i].name);
  }
}

/* ---- The lifecycle hub ------------------------------------------------------------------- */

/* A listener's user_data: its name and answer, and an optional change it makes when called. */
typedef struct Listener {
  const char* name;
  bool answer;
  void (*onCall)(struct Listener* self);
  zefa_ZefaSDKLifecycleService* hub;
  zefa_listener* handles[2];
} Listener;

static bool withOptions(ZefaApplication* app, const char* url, const char* options, void* data) {
  Listener* listener = (Listener*)data;
  note("%s.options(%s,%s,%s) ", listener->name, app ? "app" : "-", url, options);
  if (listener->onCall) listener->onCall(listener);
  return listener->answer;
}

static bool withSource(ZefaApplication* app, const char* url, const char* source, void* annotation,
                       void* data) {
  (void)app;
  note("%s.source(%s,%s,%s) ", ((Listener*)data)->name, url, source ? source : "absent",
       annotation ? "annotated" : "none");
  return ((Listener*)data)->answer;
}

static void withScene(ZefaScene* scene, ZefaOpenURLContext* const* contexts, size_t count,
                      void* data) {
  (void)contexts;
  note("%s.scene(%s,%zu) ", ((Listener*)data)->name, scene ? "scene" : "-", count);
}

static void disposeListener(void* data) {
  (void)data;
  disposed++;
}

static const zefa_ZefaSDKLifecycleProtocol kFullTable = {withOptions, withSource, withScene,
                                                         disposeListener};
static const zefa_ZefaSDKLifecycleProtocol kEmptyTable = {NULL, NULL, NULL, disposeListener};

static void testLifecycleTables(void) {
  zefa_ZefaSDKLifecycleService* hub = zefa_ZefaSDKLifecycleService_init();
  Listener skipped = {"skipped", false, NULL, NULL, {NULL, NULL}};
  Listener decliner = {"decliner", false, NULL, NULL, {NULL, NULL}};
  zefa_listener* empty = zefa_lifecycle_listener_add(hub, &kEmptyTable, &skipped);
  zefa_listener* full = zefa_lifecycle_listener_add(hub, &kFullTable, &decliner);
  ZefaApplication* app = (ZefaApplication*)&skipped;
  int annotation = 0;

  const struct {
    const char* name;
    bool source; /* which application function */
    const char* url;
    const char* text; /* options JSON, or the source application */
    bool expected;
    const char* calls;
  } rows[] = {
      {"options cross as JSON, in key order; NULL entries are skipped", false, "game://a?b=1",
       "{\"k\":\"v\",\"n\":2,\"t\":true,\"l\":[1]}", false,
       "decliner.options(app,game://a?b=1,{\"k\":\"v\",\"l\":[1],\"n\":2,\"t\":true}) "},
      {"NULL options are no options", false, "u", NULL, false, "decliner.options(app,u,{}) "},
      {"options that are not an object call nobody", false, "u", "[1]", false, ""},
      {"a NULL url calls nobody", false, NULL, NULL, false, ""},
      {"an absent source stays absent", true, "u", NULL, false,
       "decliner.source(u,absent,annotated) "},
      {"an empty source stays empty", true, "u", "", false, "decliner.source(u,,annotated) "},
  };
  for (size_t r = 0; r < sizeof rows / sizeof rows[0]; r++) {
    bool handled =
        rows[r].source
            ? zefa_ZefaSDKLifecycleService_application_openURL_sourceApplication_annotation_(
                  hub, app, rows[r].url, rows[r].text, &annotation)
            : zefa_ZefaSDKLifecycleService_application_openURL_options_(hub, app, rows[r].url,
                                                                        rows[r].text);
    CHECK(handled == rows[r].expected, rows[r].name);
    CHECK(journalIs(rows[r].calls), rows[r].name);
  }

  ZefaOpenURLContext* contexts[] = {(ZefaOpenURLContext*)&annotation, (ZefaOpenURLContext*)&skipped,
                                    (ZefaOpenURLContext*)&annotation};
  zefa_ZefaSDKLifecycleService_scene_openURLContexts_(hub, (ZefaScene*)app, contexts, 3);
  zefa_ZefaSDKLifecycleService_scene_openURLContexts_(hub, NULL, NULL, 2); /* ignored */
  zefa_ZefaSDKLifecycleService_scene_openURLContexts_(NULL, NULL, contexts, 3);
  CHECK(journalIs("decliner.scene(scene,2) "), "scene gets the set of contexts");

  CHECK(zefa_lifecycle_listener_remove(hub, full), "remove the implementing listener");
  CHECK(!zefa_lifecycle_listener_remove(hub, full), "remove it twice");
  CHECK(zefa_ZefaSDKLifecycleService_application_openURL_options_(hub, app, "u", "{}"),
        "only NULL entries left: handled");
  CHECK(!zefa_ZefaSDKLifecycleService_application_openURL_options_(NULL, app, "u", "{}"),
        "a NULL hub handles nothing");
  CHECK(zefa_lifecycle_listener_add(NULL, &kFullTable, NULL) == NULL, "add to a NULL hub");
  CHECK(zefa_lifecycle_listener_add(hub, NULL, NULL) == NULL, "add a NULL table");

  disposed = 0;
  zefa_release(full);
  CHECK(disposed == 1, "removed and released: disposed");
  zefa_release(empty);
  CHECK(disposed == 1, "released but still in the list: kept");
  zefa_release(hub);
  CHECK(disposed == 2, "the hub's end lets the last one go");
}

/* The middle listener removes itself and the next one, and adds a new one, while called. */
static Listener added = {"new", true, NULL, NULL, {NULL, NULL}};
static void changeTheList(Listener* self) {
  if (self->handles[0] == NULL) return;
  for (int i = 0; i < 2; i++) {
    zefa_lifecycle_listener_remove(self->hub, self->handles[i]);
    zefa_release(self->handles[i]);
    self->handles[i] = NULL;
  }
  zefa_release(zefa_lifecycle_listener_add(self->hub, &kFullTable, &added));
}

static void testLifecycleChangesDuringAFanOut(void) {
  zefa_ZefaSDKLifecycleService* hub = zefa_ZefaSDKLifecycleService_sharedInstance();
  Listener listeners[3] = {{"a", true, NULL, hub, {NULL, NULL}},
                           {"b", true, changeTheList, hub, {NULL, NULL}},
                           {"c", true, NULL, hub, {NULL, NULL}}};
  zefa_listener* handles[3];
  for (int i = 0; i < 3; i++)
    handles[i] = zefa_lifecycle_listener_add(hub, &kFullTable, &listeners[i]);
  listeners[1].handles[0] = handles[1];
  listeners[1].handles[1] = handles[2];

  disposed = 0;
  zefa_ZefaSDKLifecycleService_application_openURL_options_(hub, NULL, "u", NULL);
  CHECK(journalIs("a.options(-,u,{}) b.options(-,u,{}) c.options(-,u,{}) "),
        "the running fan-out keeps its list");
  CHECK(disposed == 2, "the removed listeners are let go once the fan-out is over");
  zefa_ZefaSDKLifecycleService_application_openURL_options_(hub, NULL, "u", NULL);
  CHECK(journalIs("a.options(-,u,{}) new.options(-,u,{}) "), "the next fan-out sees the change");

  CHECK(zefa_ZefaSDKLifecycleService_sharedInstance() == hub, "one shared hub");
  zefa_release(hub); /* does nothing */
  zefa_ZefaSDKLifecycleService* other = zefa_ZefaSDKLifecycleService_init();
  zefa_ZefaSDKLifecycleService_application_openURL_options_(other, NULL, "u", NULL);
  CHECK(journalIs(""), "a new hub is independent of the shared one");
  zefa_release(other);
  zefa_lifecycle_listener_remove(hub, handles[0]);
  zefa_release(handles[0]);
}

/* ---- The logger hub ---------------------------------------------------------------------- */

static void evGameStart(void* u) { note("%s.gameStart ", (const char*)u); }
static void evRegister(void* u) { note("%s.registerEvent ", (const char*)u); }
static void evLogin(void* u) { note("%s.login ", (const char*)u); }
static void evLevel(int64_t level, void* u) {
  note("%s.level(%lld) ", (const char*)u, (long long)level);
}
static void evCart(double a, const char* x, const char* y, void* u) {
  note("%s.addToCart(%g|%s|%s) ", (const char*)u, a, x, y);
}
static void evCheckout(double a, const char* x, const char* y, void* u) {
  note("%s.initCheckout(%g|%s|%s) ", (const char*)u, a, x, y);
}
static void evPurchase(double a, const char* x, const char* y, void* u) {
  note("%s.purchase(%g|%s|%s) ", (const char*)u, a, x, y);
}
static void evSubscription(double a, const char* x, const char* y, void* u) {
  note("%s.subscription(%g|%s|%s) ", (const char*)u, a, x, y);
}
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
  CHECK(journalIs("a.gameStart a.registerEvent a.login "), "events without arguments");
  zefa_ZefaThirdUploadLoggerService_level_(hub, -9000000000LL);
  zefa_ZefaThirdUploadLoggerService_addToCart___(hub, 1.5, "sku", "USD");
  zefa_ZefaThirdUploadLoggerService_initCheckout___(hub, 2.25, "cart", "");
  zefa_ZefaThirdUploadLoggerService_subscription___(hub, -3, "m", "EUR");
  CHECK(journalIs("a.level(-9000000000) a.addToCart(1.5|sku|USD) a.initCheckout(2.25|cart|) "
                  "a.subscription(-3|m|EUR) "),
        "the number first, then the texts, unchanged; no log");
  zefa_ZefaThirdUploadLoggerService_purchase___(hub, 0.99, "gem", "JPY");
  CHECK(journalIs("a.purchase(0.99|gem|JPY) b.purchase(0.99|gem|JPY) "), "both, in list order");
  zefa_ZefaThirdUploadLoggerService_adShow______(hub, "n", "u", "p", "t", "", 0.01);
  CHECK(journalIs("a.adShow(n|u|p|t||0.01) "), "adShow: five texts, then the number");

  zefa_ZefaThirdUploadLoggerService_purchase___(hub, 1, NULL, "x");
  zefa_ZefaThirdUploadLoggerService_adShow______(hub, "n", "u", "p", NULL, "", 1);
  zefa_ZefaThirdUploadLoggerService_gameStart(NULL);
  CHECK(journalIs(""), "a NULL text or hub forwards nothing");

  CHECK(!zefa_lifecycle_listener_remove(zefa_ZefaSDKLifecycleService_sharedInstance(), first),
        "an adapter is no lifecycle listener");
  CHECK(zefa_logger_listener_remove(hub, first), "remove the first adapter");
  zefa_ZefaThirdUploadLoggerService_purchase___(hub, 2, "x", "y");
  CHECK(journalIs("b.purchase(2|x|y) "), "a removed adapter is not called");
  CHECK(zefa_ZefaThirdUploadLoggerService_sharedInstance() ==
            zefa_ZefaThirdUploadLoggerService_sharedInstance(),
        "one shared logger hub");
  disposed = 0;
  zefa_release(first);
  zefa_release(second);
  zefa_release(hub);
  CHECK(disposed == 1, "the adapter with a dispose entry is disposed");
}

/* ---- ZefaSDKUtils ------------------------------------------------------------------------ */

static void testSdkUtils(void) {
  const struct {
    const char* name;
    char* actual;
    const char* expected;
  } rows[] = {
      {"a value crosses as JSON text", zefa_ZefaSDKUtils_objectToJsonString_("{ \"a\" : \"x/y\" }"),
       "{\"a\":\"x\\/y\"}"},
      {"a bare scalar is not written", zefa_ZefaSDKUtils_objectToJsonString_("5"), NULL},
      {"a NULL value", zefa_ZefaSDKUtils_objectToJsonString_(NULL), NULL},
      {"a dictionary keeps member order",
       zefa_ZefaSDKUtils_jsonStringToDictionary_("{\"b\":1,\"a\":[true]}"),
       "{\"b\":1,\"a\":[true]}"},
      {"an object is no array", zefa_ZefaSDKUtils_jsonStringToArray_("{}"), NULL},
      {"intToString", zefa_ZefaSDKUtils_intToString_(5000000000LL), "705032704"},
      {"a date given in seconds", zefa_ZefaSDKUtils_nsDateToGmtString_(1700000000.0),
       "2023-11-14 22:13:20"},
      {"a date beyond the clock", zefa_ZefaSDKUtils_nsDateToGmtString_(1e300), NULL},
  };
  for (size_t r = 0; r < sizeof rows / sizeof rows[0]; r++) {
    CHECK(takeString(rows[r].actual, rows[r].expected), rows[r].name);
  }
  CHECK(!zefa_ZefaSDKUtils_notNull_(NULL) && zefa_ZefaSDKUtils_notNull_(" "), "notNull");
}

int main(void) {
  testStatusCodes();
  testFatalPreconditions();
  testLifecycleTables();
  testLifecycleChangesDuringAFanOut();
  testLoggerTables();
  testSdkUtils();
  if (failures > 0) fprintf(stderr, "%d check(s) failed\n", failures);
  return failures == 0 ? 0 : 1;
}
