/*
 * A game's native layer talking to ZefaBase through its C interface: it starts the library with
 * its own data directory and a log callback, registers an analytics adapter and an open-URL
 * listener, reports a few events, forwards an open-URL callback, reads a status code and sets up
 * the backend. Exits with 0 when everything arrived as expected.
 */
#include <stdio.h>
#include <string.h>

#include "ZefaBase/capi/zefa.h"

/* What the adapter saw; handed to every callback as user_data. */
typedef struct {
  int events;
  double revenue;
} AnalyticsState;

static void onGameStart(void* user_data) {
  AnalyticsState* state = (AnalyticsState*)user_data;
  state->events++;
  printf("analytics: game started\n");
}

static void onLevel(int64_t level, void* user_data) {
  AnalyticsState* state = (AnalyticsState*)user_data;
  state->events++;
  printf("analytics: level %lld\n", (long long)level);
}

static void onPurchase(double amount, const char* item, const char* currency, void* user_data) {
  AnalyticsState* state = (AnalyticsState*)user_data;
  state->events++;
  state->revenue += amount;
  printf("analytics: purchase of %s for %.2f %s\n", item, amount, currency);
}

/* The engine's console: every log line of the library arrives here instead of standard output. */
static void onLogLine(int level, const char* line, void* user_data) {
  int* warnings = (int*)user_data;
  if (level >= ZEFA_LOG_WARN) (*warnings)++;
  printf("engine console [%s] %s", level >= ZEFA_LOG_WARN ? "warning" : "info", line);
}

static int onOpenURL(ZefaApplication* application, const char* url, const char* options_json,
                     void* user_data) {
  (void)application;
  (void)user_data;
  printf("deep link: %s with options %s\n", url, options_json);
  return strncmp(url, "mygame://", 9) == 0;
}

int main(void) {
  int failures = 0;
  AnalyticsState analytics = {0, 0.0};

  /* Start-up, before any other call: where the game keeps its files, and where log lines go. */
  int warnings = 0;
  zefa_options options = {.struct_size = sizeof(zefa_options)};
  options.data_directory = "zefa-example-data"; /* user defaults and keychain, made on first use */
  options.log_callback = onLogLine;
  options.log_user_data = &warnings;
  if (!zefa_start(&options)) {
    fprintf(stderr, "zefa_start refused the options\n");
    return 1;
  }
  printf("ZefaBase %s\n", zefa_version());

  /* Register the adapter: entries left NULL are events it does not implement. */
  zefa_ZefaThirdUploadLoggerProtocol adapter;
  memset(&adapter, 0, sizeof adapter);
  adapter.gameStart = onGameStart;
  adapter.level_ = onLevel;
  adapter.purchase___ = onPurchase;
  zefa_ZefaThirdUploadLoggerService* logger = zefa_ZefaThirdUploadLoggerService_sharedInstance();
  zefa_listener* registration = zefa_logger_listener_add(logger, &adapter, &analytics);

  zefa_ZefaThirdUploadLoggerService_gameStart(logger);
  zefa_ZefaThirdUploadLoggerService_login(logger); /* not implemented by the adapter: skipped */
  zefa_ZefaThirdUploadLoggerService_level_(logger, 3);
  zefa_ZefaThirdUploadLoggerService_purchase___(logger, 4.99, "gem_pack", "USD");
  if (analytics.events != 3 || analytics.revenue != 4.99) {
    fprintf(stderr, "expected 3 events and 4.99 revenue, got %d and %.2f\n", analytics.events,
            analytics.revenue);
    failures++;
  }

  /* The application delegate forwards an open-URL callback and returns the hub's answer. */
  zefa_ZefaSDKLifecycleProtocol listener;
  memset(&listener, 0, sizeof listener);
  listener.application_openURL_options_ = onOpenURL;
  zefa_ZefaSDKLifecycleService* lifecycle = zefa_ZefaSDKLifecycleService_sharedInstance();
  zefa_listener* deepLinks = zefa_lifecycle_listener_add(lifecycle, &listener, NULL);
  int handled = zefa_ZefaSDKLifecycleService_application_openURL_options_(
      lifecycle, NULL, "mygame://reward?id=7",
      "{\"UIApplicationOpenURLOptionsSourceApplicationKey\":\"com.web\"}");
  printf("deep link handled: %s\n", handled ? "yes" : "no");
  if (!handled) failures++;

  /* A status code: the shared predefined one, and a copy with a message of its own. */
  zefa_ZefaStatusCode* connection = zefa_ZefaStatusCode_CLIENT_CONNECTION_ERROR();
  zefa_ZefaStatusCode* detailed = zefa_ZefaStatusCode_withMsg_(connection, "timed out");
  char* message = zefa_ZefaStatusCode_getMsg(detailed);
  printf("status: %lld %s\n", (long long)zefa_ZefaStatusCode_getCode(detailed), message);
  if (zefa_ZefaStatusCode_getCode(detailed) != 11001 || strcmp(message, "timed out") != 0) {
    failures++;
  }
  zefa_string_free(message);
  zefa_ZefaStatusCode_release(detailed);
  zefa_ZefaStatusCode_release(connection); /* shared: nothing happens, but always safe */

  /* The backend's settings, made once at start-up; request URLs and headers follow them. */
  zefa_ZefaServerCall_setHostAndDeviceId___("https://api.example.com", "api.example.com", "dev-1");
  char* url = zefa_ZefaServerCall_newUrl___(0, "/api/user/info", "token-1");
  printf("backend url: %s\n", url ? url : "(none)");
  if (url == NULL || strcmp(url, "https://api.example.com/api/user/info?sessionToken=token-1")) {
    failures++;
  }
  zefa_string_free(url);
  /* No login record is stored yet: the library says so with a warning, through the callback. */
  char* token = zefa_ZefaServerCall_getSessionTokenFormDisk();
  if (token != NULL || warnings != 1) failures++;
  zefa_string_free(token);
  /* Every network outcome runs on the main run loop: the game drains it once per frame. */
  zefa_main_run_once();

  zefa_lifecycle_listener_remove(lifecycle, deepLinks);
  zefa_listener_release(deepLinks);
  zefa_logger_listener_remove(logger, registration);
  zefa_listener_release(registration);
  return failures == 0 ? 0 : 1;
}
