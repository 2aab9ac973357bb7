/*
 * The C interface seen from C: status code handles, the two hubs with listener tables, and the
 * ZefaSDKUtils functions built into this library. Each check that fails prints its row and
 * the program exits non-zero.
 */
#include <signal.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
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

/* Compares a returned string with the expected one (NULL for absent) and frees it. */
static int takeString(char* actual, const char* expected) {
  int same =
      (actual == NULL || expected == NULL) ? actual == expected : strcmp(actual, expected) == 0;
  if (!same)
    fprintf(stderr, "  got \"%s\", expected \"%s\"\n", actual ? actual : "(null)",
            expected ? expected : "(null)");
  zefa_string_free(actual);
  return same;
}

/* ---- A journal that listeners write their calls into ------------------------------------- */

typedef struct {
  char text[2048];
  int disposed;
} Journal;

static void note(Journal* journal, const char* format, ...) {
  size_t used = strlen(journal->text);
  va_list arguments;
  va_start(arguments, format);
  vsnprintf(journal->text + used, sizeof journal->text - used, format, arguments);
  va_end(arguments);
}

/* A listener's user_data: its name, its answer and where it writes. */
typedef struct {
  const char* name;
  bool answer;
  Journal* journal;
  void (*onCall)(void* self); /* a change the listener makes while it is called */
  zefa_ZefaSDKLifecycleService* hub;
  zefa_listener* self;
  zefa_listener* other;
} Listener;

static bool openWithOptions(ZefaApplication* application, const char* url, const char* options,
                            void* user_data) {
  Listener* listener = (Listener*)user_data;
  note(listener->journal, "%s.options(%p,%s,%s) ", listener->name, (void*)application, url,
       options);
  if (listener->onCall) listener->onCall(listener);
  return listener->answer;
}

static bool openWithSource(ZefaApplication* application, const char* url, const char* source,
                           void* annotation, void* user_data) {
  Listener* listener = (Listener*)user_data;
  (void)application;
  note(listener->journal, "%s.source(%s,%s,%s) ", listener->name, url, source ? source : "absent",
       annotation ? "annotated" : "none");
  return listener->answer;
}

static void openScene(ZefaScene* scene, ZefaOpenURLContext* const* contexts, size_t count,
                      void* user_data) {
  Listener* listener = (Listener*)user_data;
  (void)scene;
  (void)contexts;
  note(listener->journal, "%s.scene(%zu) ", listener->name, count);
}

static void disposeListener(void* user_data) { ((Listener*)user_data)->journal->disposed++; }

static zefa_ZefaSDKLifecycleProtocol lifecycleTable(bool options, bool source, bool scene) {
  zefa_ZefaSDKLifecycleProtocol table;
  memset(&table, 0, sizeof table);
  if (options) table.application_openURL_options_ = openWithOptions;
  if (source) table.application_openURL_sourceApplication_annotation_ = openWithSource;
  if (scene) table.scene_openURLContexts_ = openScene;
  table.dispose = disposeListener;
  return table;
}

/* ---- Status codes ------------------------------------------------------------------------ */

typedef struct {
  const char* name;
  zefa_ZefaStatusCode* (*get)(void);
  int64_t code;
  const char* msg;
} PredefinedRow;

static void testPredefinedCodes(void) {
  const PredefinedRow rows[] = {
      {"Success", zefa_ZefaStatusCode_Success, 200, "success"},
      {"Failed", zefa_ZefaStatusCode_Failed, 400, "failed"},
      {"ErrorParameter", zefa_ZefaStatusCode_ErrorParameter, 422, "error parameter"},
      {"ErrorInternal", zefa_ZefaStatusCode_ErrorInternal, 500, "error internal"},
      {"CLIENT_CONNECTION_ERROR", zefa_ZefaStatusCode_CLIENT_CONNECTION_ERROR, 11001,
       "CLIENT_CONNECTION_ERROR"},
      {"CLIENT_CODE_NOT_SUCCESS", zefa_ZefaStatusCode_CLIENT_CODE_NOT_SUCCESS, 11002,
       "CLIENT_CODE_NOT_SUCCESS"},
      {"CLIENT_HAS_NOT_LOGIN", zefa_ZefaStatusCode_CLIENT_HAS_NOT_LOGIN, 11003,
       "CLIENT_HAS_NOT_LOGIN"},
      {"CLIENT_NOT_SUPPORT_THIS_LOGINTYPE", zefa_ZefaStatusCode_CLIENT_NOT_SUPPORT_THIS_LOGINTYPE,
       11004, "CLIENT_NOT_SUPPORT_THIS_LOGINTYPE"},
      {"CLIENT_GET_LOGIN_PARAMS_FAIL", zefa_ZefaStatusCode_CLIENT_GET_LOGIN_PARAMS_FAIL, 11005,
       "CLIENT_GET_LOGIN_PARAMS_FAIL"},
      {"CLIENT_SDK_NOT_INIT", zefa_ZefaStatusCode_CLIENT_SDK_NOT_INIT, 11008,
       "CLIENT_SDK_NOT_INIT"},
      {"CLIENT_AUTO_LOGIN_FAIL", zefa_ZefaStatusCode_CLIENT_AUTO_LOGIN_FAIL, 11009,
       "CLIENT_AUTO_LOGIN_FAIL"},
      {"CLIENT_HAS_LOGIN", zefa_ZefaStatusCode_CLIENT_HAS_LOGIN, 11010, "CLIENT_HAS_LOGIN"},
      {"CLIENT_APPSTORE_PAY_NOT_CONNECT", zefa_ZefaStatusCode_CLIENT_APPSTORE_PAY_NOT_CONNECT,
       14001, "CLIENT_APPSTORE_PAY_NOT_CONNECT"},
      {"CLIENT_APPSTORE_PAY_RESPONSE_NOTOK", zefa_ZefaStatusCode_CLIENT_APPSTORE_PAY_RESPONSE_NOTOK,
       14002, "CLIENT_APPSTORE_PAY_RESPONSE_NOTOK"},
      {"CLIENT_APPSTORE_PAY_SKU_NOT_FOUND", zefa_ZefaStatusCode_CLIENT_APPSTORE_PAY_SKU_NOT_FOUND,
       14003, "CLIENT_APPSTORE_PAY_SKU_NOT_FOUND"},
      {"CLIENT_APPSTORE_PAY_BUY_FAIL", zefa_ZefaStatusCode_CLIENT_APPSTORE_PAY_BUY_FAIL, 14004,
       "CLIENT_APPSTORE_PAY_BUY_FAIL"},
      {"CLIENT_UNKNOW_EXCEPTION", zefa_ZefaStatusCode_CLIENT_UNKNOW_EXCEPTION, 13001,
       "CLIENT_UNKNOW_EXCEPTION"},
  };
  for (size_t i = 0; i < sizeof rows / sizeof rows[0]; i++) {
    zefa_ZefaStatusCode* first = rows[i].get();
    CHECK(first != NULL, rows[i].name);
    CHECK(zefa_ZefaStatusCode_getCode(first) == rows[i].code, rows[i].name);
    CHECK(takeString(zefa_ZefaStatusCode_getMsg(first), rows[i].msg), rows[i].name);
    /* Releasing a shared code changes nothing: the next call gives the same live handle. */
    zefa_release(first);
    CHECK(rows[i].get() == first, rows[i].name);
    CHECK(zefa_ZefaStatusCode_getCode(first) == rows[i].code, rows[i].name);
    for (size_t j = 0; j < i; j++) CHECK(rows[j].get() != first, rows[i].name);
  }
}

static void testOwnCodes(void) {
  zefa_ZefaStatusCode* own = zefa_ZefaStatusCode_init();
  zefa_ZefaStatusCode_setCode_(own, 7);
  zefa_ZefaStatusCode_setMsg_(own, "seven");
  CHECK(zefa_ZefaStatusCode_getCode(own) == 7, "setCode then getCode");
  CHECK(takeString(zefa_ZefaStatusCode_getMsg(own), "seven"), "setMsg then getMsg");
  zefa_ZefaStatusCode_setMsg_(own, NULL);
  CHECK(takeString(zefa_ZefaStatusCode_getMsg(own), "seven"), "setMsg NULL changes nothing");

  zefa_ZefaStatusCode* failed = zefa_ZefaStatusCode_Failed();
  zefa_ZefaStatusCode* copy = zefa_ZefaStatusCode_withMsg_(failed, "x");
  CHECK(copy != NULL && copy != failed, "withMsg gives a new object");
  CHECK(zefa_ZefaStatusCode_getCode(copy) == 400, "withMsg keeps the code");
  CHECK(takeString(zefa_ZefaStatusCode_getMsg(copy), "x"), "withMsg sets the message");
  CHECK(takeString(zefa_ZefaStatusCode_getMsg(failed), "failed"), "withMsg leaves the shared code");

  /* NULL handles and NULL strings: absent results, no effect. */
  CHECK(zefa_ZefaStatusCode_getCode(NULL) == 0, "getCode NULL");
  CHECK(zefa_ZefaStatusCode_getMsg(NULL) == NULL, "getMsg NULL");
  CHECK(zefa_ZefaStatusCode_withMsg_(NULL, "x") == NULL, "withMsg NULL handle");
  CHECK(zefa_ZefaStatusCode_withMsg_(failed, NULL) == NULL, "withMsg NULL msg");
  zefa_ZefaStatusCode_setCode_(NULL, 1);
  zefa_ZefaStatusCode_setMsg_(NULL, "x");
  zefa_release(NULL);
  zefa_string_free(NULL);

  zefa_ZefaStatusCodeBuilder* builder = zefa_ZefaStatusCode_Builder();
  zefa_ZefaStatusCodeBuilder* other = zefa_ZefaStatusCodeBuilder_init();
  zefa_ZefaLog* log = zefa_ZefaLog_init();
  CHECK(builder != NULL && other != NULL && builder != other, "builders are new objects");
  CHECK(log != NULL, "ZefaLog init");
  zefa_release(builder);
  zefa_release(other);
  zefa_release(log);
  zefa_release(copy);
  zefa_release(own);
}

/* The fatal preconditions stop the program: run each in a child and expect SIGABRT. */
static void absentCode(void) { zefa_ZefaStatusCode_getCode(zefa_ZefaStatusCode_init()); }
static void absentMsg(void) { zefa_ZefaStatusCode_getMsg(zefa_ZefaStatusCode_init()); }
static void withMsgOnAbsentCode(void) {
  zefa_ZefaStatusCode_withMsg_(zefa_ZefaStatusCode_init(), "m");
}

static void testFatalPreconditions(void) {
  const struct {
    const char* name;
    void (*run)(void);
  } rows[] = {{"getCode of an absent code", absentCode},
              {"getMsg of an absent msg", absentMsg},
              {"withMsg on an absent code", withMsgOnAbsentCode}};
  for (size_t i = 0; i < sizeof rows / sizeof rows[0]; i++) {
    fflush(NULL);
    pid_t child = fork();
    if (child == 0) {
      if (freopen("/dev/null", "w", stderr) == NULL) _exit(2);
      rows[i].run();
      _exit(0); /* reaching here means the precondition was not enforced */
    }
    int status = 0;
    waitpid(child, &status, 0);
    CHECK(WIFSIGNALED(status) && WTERMSIG(status) == SIGABRT, rows[i].name);
  }
}

/* ---- The lifecycle hub ------------------------------------------------------------------- */

typedef struct {
  const char* name;
  int count;
  int implementsOptions[3]; /* 1: implements, answering answers[i] */
  bool answers[3];
  bool expected;
  const char* expectedJournal;
} AndRow;

static void testLifecycleAnd(void) {
  const AndRow rows[] = {
      {"no listeners is handled", 0, {0}, {false}, true, ""},
      {"a NULL entry is skipped and neutral", 1, {0}, {false}, true, ""},
      {"true false true calls all three",
       3,
       {1, 1, 1},
       {true, false, true},
       false,
       "a.options((nil),u,{}) b.options((nil),u,{}) c.options((nil),u,{}) "},
      {"a NULL entry beside a true", 2, {0, 1}, {false, true}, true, "b.options((nil),u,{}) "},
  };
  const char* names[] = {"a", "b", "c"};
  for (size_t r = 0; r < sizeof rows / sizeof rows[0]; r++) {
    Journal journal = {"", 0};
    Listener listeners[3];
    zefa_listener* handles[3];
    zefa_ZefaSDKLifecycleService* hub = zefa_ZefaSDKLifecycleService_init();
    for (int i = 0; i < rows[r].count; i++) {
      Listener value = {names[i], rows[r].answers[i], &journal, NULL, hub, NULL, NULL};
      listeners[i] = value;
      zefa_ZefaSDKLifecycleProtocol table =
          lifecycleTable(rows[r].implementsOptions[i], false, false);
      handles[i] = zefa_lifecycle_listener_add(hub, &table, &listeners[i]);
    }
    bool handled = zefa_ZefaSDKLifecycleService_application_openURL_options_(hub, NULL, "u", NULL);
    CHECK(handled == rows[r].expected, rows[r].name);
    CHECK(strcmp(journal.text, rows[r].expectedJournal) == 0, rows[r].name);
    /* The source variant is not implemented by any of them: neutral. */
    CHECK(zefa_ZefaSDKLifecycleService_application_openURL_sourceApplication_annotation_(
              hub, NULL, "u", NULL, NULL),
          rows[r].name);
    for (int i = 0; i < rows[r].count; i++) zefa_release(handles[i]);
    zefa_release(hub);
    CHECK(journal.disposed == rows[r].count, rows[r].name);
  }
}

static void testLifecycleArguments(void) {
  Journal journal = {"", 0};
  Listener listener = {"l", true, &journal, NULL, NULL, NULL, NULL};
  zefa_ZefaSDKLifecycleService* hub = zefa_ZefaSDKLifecycleService_init();
  zefa_ZefaSDKLifecycleProtocol table = lifecycleTable(true, true, true);
  zefa_listener* handle = zefa_lifecycle_listener_add(hub, &table, &listener);
  ZefaApplication* application = (ZefaApplication*)&journal;
  int annotation = 0;
  ZefaOpenURLContext* contexts[] = {(ZefaOpenURLContext*)&annotation,
                                    (ZefaOpenURLContext*)&listener,
                                    (ZefaOpenURLContext*)&annotation};

  const struct {
    const char* name;
    int call;
    const char* url;
    const char* text; /* options JSON or source application */
    bool expected;
    const char* expectedJournal;
  } rows[] = {
      {"options reach the listener as JSON", 0, "game://a?b=1", "{\"k\":\"v\",\"n\":2,\"t\":true}",
       true, "l.options(APP,game://a?b=1,{\"k\":\"v\",\"n\":2,\"t\":true}) "},
      {"NULL options are empty options", 0, "u", NULL, true, "l.options(APP,u,{}) "},
      {"options that are not an object call nobody", 0, "u", "[1]", false, ""},
      {"options that are not JSON call nobody", 0, "u", "{", false, ""},
      {"a NULL url calls nobody", 0, NULL, NULL, false, ""},
      {"an absent source stays absent", 1, "u", NULL, true, "l.source(u,absent,annotated) "},
      {"an empty source stays empty", 1, "u", "", true, "l.source(u,,annotated) "},
      {"a NULL url calls nobody (source)", 1, NULL, "s", false, ""},
  };
  char expectedApplication[64];
  snprintf(expectedApplication, sizeof expectedApplication, "%p", (void*)application);
  for (size_t r = 0; r < sizeof rows / sizeof rows[0]; r++) {
    journal.text[0] = '\0';
    bool handled =
        rows[r].call == 0
            ? zefa_ZefaSDKLifecycleService_application_openURL_options_(hub, application,
                                                                        rows[r].url, rows[r].text)
            : zefa_ZefaSDKLifecycleService_application_openURL_sourceApplication_annotation_(
                  hub, application, rows[r].url, rows[r].text, &annotation);
    CHECK(handled == rows[r].expected, rows[r].name);
    /* The journal shows the application pointer; compare with it written as APP. */
    char expected[512];
    const char* marker = strstr(rows[r].expectedJournal, "APP");
    if (marker) {
      snprintf(expected, sizeof expected, "%.*s%s%s", (int)(marker - rows[r].expectedJournal),
               rows[r].expectedJournal, expectedApplication, marker + 3);
    } else {
      snprintf(expected, sizeof expected, "%s", rows[r].expectedJournal);
    }
    CHECK(strcmp(journal.text, expected) == 0, rows[r].name);
  }

  journal.text[0] = '\0';
  zefa_ZefaSDKLifecycleService_scene_openURLContexts_(hub, NULL, contexts, 3);
  zefa_ZefaSDKLifecycleService_scene_openURLContexts_(hub, NULL, NULL, 0);
  zefa_ZefaSDKLifecycleService_scene_openURLContexts_(hub, NULL, NULL, 2); /* ignored */
  zefa_ZefaSDKLifecycleService_scene_openURLContexts_(NULL, NULL, contexts, 3);
  CHECK(strcmp(journal.text, "l.scene(2) l.scene(0) ") == 0, "scene passes the set of contexts");

  CHECK(!zefa_ZefaSDKLifecycleService_application_openURL_options_(NULL, NULL, "u", NULL),
        "a NULL hub handles nothing");
  CHECK(zefa_lifecycle_listener_add(NULL, &table, &listener) == NULL, "add to a NULL hub");
  CHECK(zefa_lifecycle_listener_add(hub, NULL, &listener) == NULL, "add a NULL table");

  CHECK(zefa_lifecycle_listener_remove(hub, handle), "remove a registered listener");
  CHECK(!zefa_lifecycle_listener_remove(hub, handle), "remove it again");
  CHECK(journal.disposed == 0, "the handle still holds the listener");
  zefa_release(handle);
  CHECK(journal.disposed == 1, "released and removed: disposed");
  zefa_release(hub);
}

/* The middle listener removes itself and the last one, and adds a new one, while it is called. */
static void changeListWhileCalled(void* self) {
  Listener* listener = (Listener*)self;
  if (listener->other == NULL) return;
  zefa_lifecycle_listener_remove(listener->hub, listener->self);
  zefa_lifecycle_listener_remove(listener->hub, listener->other);
  zefa_release(listener->self);
  zefa_release(listener->other);
  listener->other = NULL;
  static Listener added;
  Listener value = {"new", true, listener->journal, NULL, listener->hub, NULL, NULL};
  added = value;
  zefa_ZefaSDKLifecycleProtocol table = lifecycleTable(true, false, false);
  zefa_release(zefa_lifecycle_listener_add(listener->hub, &table, &added));
}

static void testLifecycleReentrant(void) {
  Journal journal = {"", 0};
  zefa_ZefaSDKLifecycleService* hub = zefa_ZefaSDKLifecycleService_init();
  Listener listeners[3] = {{"a", true, &journal, NULL, hub, NULL, NULL},
                           {"b", true, &journal, changeListWhileCalled, hub, NULL, NULL},
                           {"c", true, &journal, NULL, hub, NULL, NULL}};
  zefa_listener* handles[3];
  zefa_ZefaSDKLifecycleProtocol table = lifecycleTable(true, false, false);
  for (int i = 0; i < 3; i++) handles[i] = zefa_lifecycle_listener_add(hub, &table, &listeners[i]);
  listeners[1].self = handles[1];
  listeners[1].other = handles[2];

  zefa_ZefaSDKLifecycleService_application_openURL_options_(hub, NULL, "u", NULL);
  CHECK(strcmp(journal.text,
               "a.options((nil),u,{}) b.options((nil),u,{}) c.options((nil),u,{}) ") == 0,
        "the running fan-out keeps its list");
  CHECK(journal.disposed == 2, "removed and released listeners are disposed after the fan-out");
  journal.text[0] = '\0';
  zefa_ZefaSDKLifecycleService_application_openURL_options_(hub, NULL, "u", NULL);
  CHECK(strcmp(journal.text, "a.options((nil),u,{}) new.options((nil),u,{}) ") == 0,
        "the next fan-out sees the changes");
  zefa_release(handles[0]);
  zefa_release(hub);
  CHECK(journal.disposed == 4, "releasing the hub disposes the rest");
}

static void testSharedHubs(void) {
  CHECK(zefa_ZefaSDKLifecycleService_sharedInstance() ==
            zefa_ZefaSDKLifecycleService_sharedInstance(),
        "one shared lifecycle hub");
  CHECK(zefa_ZefaThirdUploadLoggerService_sharedInstance() ==
            zefa_ZefaThirdUploadLoggerService_sharedInstance(),
        "one shared logger hub");
  zefa_release(zefa_ZefaSDKLifecycleService_sharedInstance());
  zefa_release(zefa_ZefaThirdUploadLoggerService_sharedInstance());

  Journal journal = {"", 0};
  Listener listener = {"shared", false, &journal, NULL, NULL, NULL, NULL};
  zefa_ZefaSDKLifecycleProtocol table = lifecycleTable(true, false, false);
  zefa_ZefaSDKLifecycleService* shared = zefa_ZefaSDKLifecycleService_sharedInstance();
  zefa_ZefaSDKLifecycleService* other = zefa_ZefaSDKLifecycleService_init();
  zefa_listener* handle = zefa_lifecycle_listener_add(shared, &table, &listener);
  CHECK(zefa_ZefaSDKLifecycleService_application_openURL_options_(other, NULL, "u", NULL),
        "a new hub does not see the shared hub's listeners");
  CHECK(!zefa_ZefaSDKLifecycleService_application_openURL_options_(shared, NULL, "u", NULL),
        "the shared hub still works after a release");
  CHECK(zefa_lifecycle_listener_remove(shared, handle), "remove from the shared hub");
  zefa_release(handle);
  zefa_release(other);
}

/* ---- The logger hub ---------------------------------------------------------------------- */

static Journal eventJournal;
static void evGameStart(void* u) { note(&eventJournal, "%s.gameStart ", (const char*)u); }
static void evRegister(void* u) { note(&eventJournal, "%s.registerEvent ", (const char*)u); }
static void evLogin(void* u) { note(&eventJournal, "%s.login ", (const char*)u); }
static void evLevel(int64_t level, void* u) {
  note(&eventJournal, "%s.level(%lld) ", (const char*)u, (long long)level);
}
static void evCart(double a, const char* x, const char* y, void* u) {
  note(&eventJournal, "%s.addToCart(%g|%s|%s) ", (const char*)u, a, x, y);
}
static void evCheckout(double a, const char* x, const char* y, void* u) {
  note(&eventJournal, "%s.initCheckout(%g|%s|%s) ", (const char*)u, a, x, y);
}
static void evPurchase(double a, const char* x, const char* y, void* u) {
  note(&eventJournal, "%s.purchase(%g|%s|%s) ", (const char*)u, a, x, y);
}
static void evSubscription(double a, const char* x, const char* y, void* u) {
  note(&eventJournal, "%s.subscription(%g|%s|%s) ", (const char*)u, a, x, y);
}
static void evAdShow(const char* a, const char* b, const char* c, const char* d, const char* e,
                     double amount, void* u) {
  note(&eventJournal, "%s.adShow(%s|%s|%s|%s|%s|%g) ", (const char*)u, a, b, c, d, e, amount);
}
static void evLog(const char* name, const char* params, void* u) {
  note(&eventJournal, "%s.log(%s|%s) ", (const char*)u, name, params);
}
static void evDispose(void* u) {
  (void)u;
  eventJournal.disposed++;
}

static zefa_ZefaThirdUploadLoggerProtocol fullAdapter(void) {
  zefa_ZefaThirdUploadLoggerProtocol table = {evGameStart, evRegister, evLogin,    evLevel,
                                              evCart,      evCheckout, evPurchase, evSubscription,
                                              evAdShow,    evLog,      evDispose};
  return table;
}

static void testLoggerEvents(void) {
  zefa_ZefaThirdUploadLoggerService* hub = zefa_ZefaThirdUploadLoggerService_init();
  zefa_ZefaThirdUploadLoggerProtocol full = fullAdapter();
  zefa_ZefaThirdUploadLoggerProtocol buyer;
  memset(&buyer, 0, sizeof buyer);
  buyer.purchase___ = evPurchase;
  buyer.dispose = evDispose;
  zefa_listener* first = zefa_logger_listener_add(hub, &full, "a");
  zefa_listener* second = zefa_logger_listener_add(hub, &buyer, "b");

  const struct {
    const char* name;
    int event;
    const char* expected;
  } rows[] = {
      {"gameStart", 0, "a.gameStart "},
      {"registerEvent", 1, "a.registerEvent "},
      {"login", 2, "a.login "},
      {"level", 3, "a.level(-9000000000) "},
      {"addToCart", 4, "a.addToCart(1.5|sku|USD) "},
      {"initCheckout", 5, "a.initCheckout(2.25|cart|) "},
      {"purchase reaches both, in order", 6, "a.purchase(0.99|gem|JPY) b.purchase(0.99|gem|JPY) "},
      {"subscription", 7, "a.subscription(-3|m|EUR) "},
      {"adShow: five texts then the number", 8, "a.adShow(n|u|p|t||0.01) "},
      {"a NULL text forwards nothing", 9, ""},
      {"a NULL hub does nothing", 10, ""},
  };
  for (size_t r = 0; r < sizeof rows / sizeof rows[0]; r++) {
    eventJournal.text[0] = '\0';
    switch (rows[r].event) {
      case 0:
        zefa_ZefaThirdUploadLoggerService_gameStart(hub);
        break;
      case 1:
        zefa_ZefaThirdUploadLoggerService_registerEvent(hub);
        break;
      case 2:
        zefa_ZefaThirdUploadLoggerService_login(hub);
        break;
      case 3:
        zefa_ZefaThirdUploadLoggerService_level_(hub, -9000000000LL);
        break;
      case 4:
        zefa_ZefaThirdUploadLoggerService_addToCart___(hub, 1.5, "sku", "USD");
        break;
      case 5:
        zefa_ZefaThirdUploadLoggerService_initCheckout___(hub, 2.25, "cart", "");
        break;
      case 6:
        zefa_ZefaThirdUploadLoggerService_purchase___(hub, 0.99, "gem", "JPY");
        break;
      case 7:
        zefa_ZefaThirdUploadLoggerService_subscription___(hub, -3, "m", "EUR");
        break;
      case 8:
        zefa_ZefaThirdUploadLoggerService_adShow______(hub, "n", "u", "p", "t", "", 0.01);
        break;
      case 9:
        zefa_ZefaThirdUploadLoggerService_purchase___(hub, 1, NULL, "x");
        zefa_ZefaThirdUploadLoggerService_adShow______(hub, "n", "u", "p", NULL, "", 1);
        break;
      default:
        zefa_ZefaThirdUploadLoggerService_gameStart(NULL);
        zefa_ZefaThirdUploadLoggerService_purchase___(NULL, 1, "a", "b");
        break;
    }
    CHECK(strcmp(eventJournal.text, rows[r].expected) == 0, rows[r].name);
    if (strcmp(eventJournal.text, rows[r].expected) != 0) {
      fprintf(stderr, "  journal: %s\n", eventJournal.text);
    }
  }

  CHECK(zefa_logger_listener_remove(hub, first), "remove the first adapter");
  CHECK(!zefa_lifecycle_listener_remove(zefa_ZefaSDKLifecycleService_sharedInstance(), second),
        "an adapter is not a lifecycle listener");
  eventJournal.text[0] = '\0';
  zefa_ZefaThirdUploadLoggerService_purchase___(hub, 2, "x", "y");
  CHECK(strcmp(eventJournal.text, "b.purchase(2|x|y) ") == 0, "removed adapters are not called");
  zefa_release(first);
  zefa_release(second);
  zefa_release(hub);
  CHECK(eventJournal.disposed == 2, "both adapters disposed");
}

/* ---- ZefaSDKUtils ------------------------------------------------------------------------ */

static void testSdkUtils(void) {
  const struct {
    const char* name;
    char* actual;
    const char* expected;
  } rows[] = {
      {"object written compactly, slash escaped",
       zefa_ZefaSDKUtils_objectToJsonString_("{ \"a\" : \"x/y\" }"), "{\"a\":\"x\\/y\"}"},
      {"a bare scalar is not written", zefa_ZefaSDKUtils_objectToJsonString_("5"), NULL},
      {"text that is not JSON", zefa_ZefaSDKUtils_objectToJsonString_("{"), NULL},
      {"NULL value", zefa_ZefaSDKUtils_objectToJsonString_(NULL), NULL},
      {"dictionary keeps member order",
       zefa_ZefaSDKUtils_jsonStringToDictionary_("{\"b\":1,\"a\":[true]}"),
       "{\"b\":1,\"a\":[true]}"},
      {"an array is not a dictionary", zefa_ZefaSDKUtils_jsonStringToDictionary_("[1,2]"), NULL},
      {"NULL dictionary text", zefa_ZefaSDKUtils_jsonStringToDictionary_(NULL), NULL},
      {"array", zefa_ZefaSDKUtils_jsonStringToArray_("[1, 2]"), "[1,2]"},
      {"an object is not an array", zefa_ZefaSDKUtils_jsonStringToArray_("{}"), NULL},
      {"boolToString true", zefa_ZefaSDKUtils_boolToString_(true), "1"},
      {"intToString wraps to 32 bits", zefa_ZefaSDKUtils_intToString_(5000000000LL), "705032704"},
      {"doubleToString six digits", zefa_ZefaSDKUtils_doubleToString_(3.14), "3.140000"},
      {"GMT date text", zefa_ZefaSDKUtils_nsDateToGmtString_(1700000000.0), "2023-11-14 22:13:20"},
      {"a date beyond the clock", zefa_ZefaSDKUtils_nsDateToGmtString_(1e300), NULL},
  };
  for (size_t r = 0; r < sizeof rows / sizeof rows[0]; r++) {
    CHECK(takeString(rows[r].actual, rows[r].expected), rows[r].name);
  }
  CHECK(!zefa_ZefaSDKUtils_notNull_(NULL), "notNull of absent");
  CHECK(!zefa_ZefaSDKUtils_notNull_(""), "notNull of empty");
  CHECK(zefa_ZefaSDKUtils_notNull_(" "), "notNull of a space");
  CHECK(zefa_ZefaSDKUtils_getTimeStamp() > 1700000000, "the time stamp is now, in seconds");
}

int main(void) {
  testPredefinedCodes();
  testOwnCodes();
  testFatalPreconditions();
  testLifecycleAnd();
  testLifecycleArguments();
  testLifecycleReentrant();
  testSharedHubs();
  testLoggerEvents();
  testSdkUtils();
  if (failures > 0) fprintf(stderr, "%d check(s) failed\n", failures);
  return failures == 0 ? 0 : 1;
}
