/*
 * The C interface of ZefaBase, for host runtimes that reach native code through a C ABI: Unity
 * (P/Invoke), Godot (GDExtension), Objective-C, or any FFI. It compiles as C11 and as C++.
 */
/* clang-format off */
/*
 * Naming: every exported selector of a class has one function zefa_<Class>_<selector>, each ":"
 * of the selector written as "_" (the selector "withMsg:" of ZefaStatusCode is
 * zefa_ZefaStatusCode_withMsg_). Beside them the header holds only what start-up, handles,
 * listeners and the main thread need: zefa_start, zefa_version, zefa_release and one release per
 * handle type (zefa_<Type>_release), zefa_string_free, the listener registration functions,
 * zefa_ZefaStaticInfo_json (the record's properties as one JSON text), zefa_main_run_once and
 * zefa_main_wake_fd.
 *
 * Ownership, as each function states it:
 * - "yours: release with zefa_<Type>_release": a handle holding the caller's own reference. The
 *   typed release takes only its type; zefa_release takes any handle.
 * - "yours: free with zefa_string_free": a returned `char*` (UTF-8, NUL-terminated).
 * - "shared": a handle that lives for the whole process (the predefined status codes, the two
 *   sharedInstance hubs). Every call gives the same handle; releasing it does nothing, so the
 *   rule "release what you got" is always safe.
 * - "lent for this call": a handle or `const char*` handed to a callback belongs to the library
 *   and is valid only during that call (releasing a lent handle does nothing). Every pointer the
 *   caller passes in is lent to the library for the call too: what the library keeps, it copies.
 * - Releasing a handle twice, releasing it with another type's release function, giving a string
 *   to a release function or a handle to zefa_string_free stops the program with one line on
 *   standard error, instead of corrupting memory. (Every handle and string carries a tag that
 *   the release checks; a twice-released one is caught while its memory has not been reused.)
 *
 * Conventions
 * - Booleans cross as `int`: 0 is false, any other value true, and the library returns 0 or 1
 *   (C's bool has no fixed size across FFIs; P/Invoke's default bool is four bytes).
 * - A dictionary or a list crosses as JSON text. A callback is a function pointer plus a
 *   `void* user_data`, given back as the callback's last argument.
 * - NULL, never "", stands for an absent text. A JSON text that the library cannot write (a
 *   value holds text that is not UTF-8) is absent too: the function returns NULL, or the
 *   callback or listener entry receives NULL in its place.
 * - JSON text handed in is parsed by the library's rules: UTF-8, strict JSON, at most 512 levels
 *   of nested arrays and objects (deeper text is not JSON).
 * - Nothing is thrown across this boundary. A NULL handle, or NULL where a string is required,
 *   makes the call do nothing and give its "absent" result, as each function states. The
 *   library's fatal errors stay fatal (they stop the program, as in C++): getCode and getMsg of
 *   an absent part, withMsg on an absent code, request headers with a DEVICE_ID_KEY of
 *   "Content-Type" or "Accept", a retry decided while retryTime is absent.
 * - The main thread. Every network outcome (a post's success or failed callback, a retry timer)
 *   runs on the main run loop, never on a worker thread. A C host drains it: it calls
 *   zefa_main_run_once() once per frame from its main thread, or waits for zefa_main_wake_fd() to
 *   poll readable in its own event loop and then calls zefa_main_run_once(). Nothing is delivered
 *   while the loop is not drained. The only exceptions are failures found before a request
 *   starts, reported at once on the calling thread, as each function states.
 * - Listeners are tables of nullable function pointers: a NULL entry is a method the listener
 *   does not implement. The hubs skip it, and it does not count in the AND of the application
 *   callbacks. A listener is held strongly by every hub list it is in.
 *
 * Export table: one row per exported selector and the function that stands for it.
 *
 * | class                        | selector                                          | C function                                                              |
 * |------------------------------|---------------------------------------------------|-------------------------------------------------------------------------|
 * | ZefaStatusCode               | Success                                           | zefa_ZefaStatusCode_Success                                             |
 * | ZefaStatusCode               | Failed                                            | zefa_ZefaStatusCode_Failed                                              |
 * | ZefaStatusCode               | ErrorParameter                                    | zefa_ZefaStatusCode_ErrorParameter                                      |
 * | ZefaStatusCode               | ErrorInternal                                     | zefa_ZefaStatusCode_ErrorInternal                                       |
 * | ZefaStatusCode               | CLIENT_CONNECTION_ERROR                           | zefa_ZefaStatusCode_CLIENT_CONNECTION_ERROR                             |
 * | ZefaStatusCode               | CLIENT_CODE_NOT_SUCCESS                           | zefa_ZefaStatusCode_CLIENT_CODE_NOT_SUCCESS                             |
 * | ZefaStatusCode               | CLIENT_HAS_NOT_LOGIN                              | zefa_ZefaStatusCode_CLIENT_HAS_NOT_LOGIN                                |
 * | ZefaStatusCode               | CLIENT_NOT_SUPPORT_THIS_LOGINTYPE                 | zefa_ZefaStatusCode_CLIENT_NOT_SUPPORT_THIS_LOGINTYPE                   |
 * | ZefaStatusCode               | CLIENT_GET_LOGIN_PARAMS_FAIL                      | zefa_ZefaStatusCode_CLIENT_GET_LOGIN_PARAMS_FAIL                        |
 * | ZefaStatusCode               | CLIENT_SDK_NOT_INIT                               | zefa_ZefaStatusCode_CLIENT_SDK_NOT_INIT                                 |
 * | ZefaStatusCode               | CLIENT_AUTO_LOGIN_FAIL                            | zefa_ZefaStatusCode_CLIENT_AUTO_LOGIN_FAIL                              |
 * | ZefaStatusCode               | CLIENT_HAS_LOGIN                                  | zefa_ZefaStatusCode_CLIENT_HAS_LOGIN                                    |
 * | ZefaStatusCode               | CLIENT_APPSTORE_PAY_NOT_CONNECT                   | zefa_ZefaStatusCode_CLIENT_APPSTORE_PAY_NOT_CONNECT                     |
 * | ZefaStatusCode               | CLIENT_APPSTORE_PAY_RESPONSE_NOTOK                | zefa_ZefaStatusCode_CLIENT_APPSTORE_PAY_RESPONSE_NOTOK                  |
 * | ZefaStatusCode               | CLIENT_APPSTORE_PAY_SKU_NOT_FOUND                 | zefa_ZefaStatusCode_CLIENT_APPSTORE_PAY_SKU_NOT_FOUND                   |
 * | ZefaStatusCode               | CLIENT_APPSTORE_PAY_BUY_FAIL                      | zefa_ZefaStatusCode_CLIENT_APPSTORE_PAY_BUY_FAIL                        |
 * | ZefaStatusCode               | CLIENT_UNKNOW_EXCEPTION                           | zefa_ZefaStatusCode_CLIENT_UNKNOW_EXCEPTION                             |
 * | ZefaStatusCode               | Builder                                           | zefa_ZefaStatusCode_Builder                                             |
 * | ZefaStatusCode               | init                                              | zefa_ZefaStatusCode_init                                                |
 * | ZefaStatusCode               | getCode                                           | zefa_ZefaStatusCode_getCode                                             |
 * | ZefaStatusCode               | setCode:                                          | zefa_ZefaStatusCode_setCode_                                            |
 * | ZefaStatusCode               | getMsg                                            | zefa_ZefaStatusCode_getMsg                                              |
 * | ZefaStatusCode               | setMsg:                                           | zefa_ZefaStatusCode_setMsg_                                             |
 * | ZefaStatusCode               | withMsg:                                          | zefa_ZefaStatusCode_withMsg_                                            |
 * | ZefaStatusCodeBuilder        | init                                              | zefa_ZefaStatusCodeBuilder_init                                         |
 * | ZefaLog                      | init                                              | zefa_ZefaLog_init                                                       |
 * | ZefaSDKLifecycleService      | sharedInstance                                    | zefa_ZefaSDKLifecycleService_sharedInstance                             |
 * | ZefaSDKLifecycleService      | init                                              | zefa_ZefaSDKLifecycleService_init                                       |
 * | ZefaSDKLifecycleService      | application:openURL:options:                      | zefa_ZefaSDKLifecycleService_application_openURL_options_               |
 * | ZefaSDKLifecycleService      | application:openURL:sourceApplication:annotation: | zefa_ZefaSDKLifecycleService_application_openURL_sourceApplication_annotation_ |
 * | ZefaSDKLifecycleService      | scene:openURLContexts:                            | zefa_ZefaSDKLifecycleService_scene_openURLContexts_                     |
 * | ZefaThirdUploadLoggerService | sharedInstance                                    | zefa_ZefaThirdUploadLoggerService_sharedInstance                        |
 * | ZefaThirdUploadLoggerService | init                                              | zefa_ZefaThirdUploadLoggerService_init                                  |
 * | ZefaThirdUploadLoggerService | gameStart                                         | zefa_ZefaThirdUploadLoggerService_gameStart                             |
 * | ZefaThirdUploadLoggerService | registerEvent                                     | zefa_ZefaThirdUploadLoggerService_registerEvent                         |
 * | ZefaThirdUploadLoggerService | login                                             | zefa_ZefaThirdUploadLoggerService_login                                 |
 * | ZefaThirdUploadLoggerService | level:                                            | zefa_ZefaThirdUploadLoggerService_level_                                |
 * | ZefaThirdUploadLoggerService | addToCart:::                                      | zefa_ZefaThirdUploadLoggerService_addToCart___                          |
 * | ZefaThirdUploadLoggerService | initCheckout:::                                   | zefa_ZefaThirdUploadLoggerService_initCheckout___                       |
 * | ZefaThirdUploadLoggerService | purchase:::                                       | zefa_ZefaThirdUploadLoggerService_purchase___                           |
 * | ZefaThirdUploadLoggerService | subscription:::                                   | zefa_ZefaThirdUploadLoggerService_subscription___                       |
 * | ZefaThirdUploadLoggerService | adShow::::::                                      | zefa_ZefaThirdUploadLoggerService_adShow______                          |
 * | ZefaSDKUtils                 | objectToJsonString:                               | zefa_ZefaSDKUtils_objectToJsonString_                                   |
 * | ZefaSDKUtils                 | jsonStringToDictionary:                           | zefa_ZefaSDKUtils_jsonStringToDictionary_                               |
 * | ZefaSDKUtils                 | jsonStringToArray:                                | zefa_ZefaSDKUtils_jsonStringToArray_                                    |
 * | ZefaSDKUtils                 | boolToString:                                     | zefa_ZefaSDKUtils_boolToString_                                         |
 * | ZefaSDKUtils                 | intToString:                                      | zefa_ZefaSDKUtils_intToString_                                          |
 * | ZefaSDKUtils                 | doubleToString:                                   | zefa_ZefaSDKUtils_doubleToString_                                       |
 * | ZefaSDKUtils                 | notNull:                                          | zefa_ZefaSDKUtils_notNull_                                              |
 * | ZefaSDKUtils                 | getTimeStamp                                      | zefa_ZefaSDKUtils_getTimeStamp                                          |
 * | ZefaSDKUtils                 | nsDateToGmtString:                                | zefa_ZefaSDKUtils_nsDateToGmtString_                                    |
 * | ZefaSDKUtils                 | getMainInfo                                       | zefa_ZefaSDKUtils_getMainInfo                                           |
 * | ZefaSDKUtils                 | getMainInfoValueForKey:                           | zefa_ZefaSDKUtils_getMainInfoValueForKey_                               |
 * | ZefaSDKUtils                 | getMainInfoStringForKey:                          | zefa_ZefaSDKUtils_getMainInfoStringForKey_                              |
 * | ZefaSDKUtils                 | appBundleID                                       | zefa_ZefaSDKUtils_appBundleID                                           |
 * | ZefaSDKUtils                 | appBundleShortVersion                             | zefa_ZefaSDKUtils_appBundleShortVersion                                 |
 * | ZefaSDKUtils                 | appBuildVersion                                   | zefa_ZefaSDKUtils_appBuildVersion                                       |
 * | ZefaSDKUtils                 | appBundleVersionCode                              | zefa_ZefaSDKUtils_appBundleVersionCode                                  |
 * | ZefaSDKUtils                 | readFile:subPath:                                 | zefa_ZefaSDKUtils_readFile_subPath_                                     |
 * | ZefaSDKUtils                 | keyChainId                                        | zefa_ZefaSDKUtils_keyChainId                                            |
 * | ZefaSDKUtils                 | idfv                                              | zefa_ZefaSDKUtils_idfv                                                  |
 * | ZefaSDKUtils                 | idfa                                              | zefa_ZefaSDKUtils_idfa                                                  |
 * | ZefaSDKUtils                 | saveInKeyChain:key:value:                         | zefa_ZefaSDKUtils_saveInKeyChain_key_value_                             |
 * | ZefaSDKUtils                 | getFromKeyChain:key:                              | zefa_ZefaSDKUtils_getFromKeyChain_key_                                  |
 * | ZefaSDKUtils                 | listFromKeyChain:                                 | zefa_ZefaSDKUtils_listFromKeyChain_                                     |
 * | ZefaSDKUtils                 | removeFromKeyChain:key:                           | zefa_ZefaSDKUtils_removeFromKeyChain_key_                               |
 * | ZefaSDKUtils                 | getSystemVersion                                  | zefa_ZefaSDKUtils_getSystemVersion                                      |
 * | ZefaSDKUtils                 | getDeviceName                                     | zefa_ZefaSDKUtils_getDeviceName                                         |
 * | ZefaSDKUtils                 | getDeviceVersionWithRaw                           | zefa_ZefaSDKUtils_getDeviceVersionWithRaw                               |
 * | ZefaSDKUtils                 | getNetworkStatus                                  | zefa_ZefaSDKUtils_getNetworkStatus                                      |
 * | ZefaSDKUtils                 | isVpn                                             | zefa_ZefaSDKUtils_isVpn                                                 |
 * | ZefaSDKUtils                 | isProxy                                           | zefa_ZefaSDKUtils_isProxy                                               |
 * | ZefaSDKUtils                 | get::::::                                         | zefa_ZefaSDKUtils_get______                                             |
 * | ZefaSDKUtils                 | postJson::::::                                    | zefa_ZefaSDKUtils_postJson______                                        |
 * | ZefaServerCall               | HOST                                              | zefa_ZefaServerCall_HOST                                                |
 * | ZefaServerCall               | setHOST:                                          | zefa_ZefaServerCall_setHOST_                                            |
 * | ZefaServerCall               | SET_HOST                                          | zefa_ZefaServerCall_SET_HOST                                            |
 * | ZefaServerCall               | setSET_HOST:                                      | zefa_ZefaServerCall_setSET_HOST_                                        |
 * | ZefaServerCall               | DEVICE_ID_KEY                                     | zefa_ZefaServerCall_DEVICE_ID_KEY                                       |
 * | ZefaServerCall               | setDEVICE_ID_KEY:                                 | zefa_ZefaServerCall_setDEVICE_ID_KEY_                                   |
 * | ZefaServerCall               | DEVICE_ID                                         | zefa_ZefaServerCall_DEVICE_ID                                           |
 * | ZefaServerCall               | setDEVICE_ID:                                     | zefa_ZefaServerCall_setDEVICE_ID_                                       |
 * | ZefaServerCall               | setHostAndDeviceId:::                             | zefa_ZefaServerCall_setHostAndDeviceId___                               |
 * | ZefaServerCall               | getRequestHeaders                                 | zefa_ZefaServerCall_getRequestHeaders                                   |
 * | ZefaServerCall               | newUrl:::                                         | zefa_ZefaServerCall_newUrl___                                           |
 * | ZefaServerCall               | postJsonAsync:::::                                | zefa_ZefaServerCall_postJsonAsync_____                                  |
 * | ZefaServerCall               | postJsonAsyncWithToken::::::                      | zefa_ZefaServerCall_postJsonAsyncWithToken______                        |
 * | ZefaServerCall               | postJsonAsyncWithTokenAndRetry:::::::             | zefa_ZefaServerCall_postJsonAsyncWithTokenAndRetry_______               |
 * | ZefaServerCall               | getSessionTokenFormDisk                           | zefa_ZefaServerCall_getSessionTokenFormDisk                             |
 * | ZefaServerCall               | getGameAccountIdFormDisk                          | zefa_ZefaServerCall_getGameAccountIdFormDisk                            |
 * | ZefaServerCallRetry          | initWithPrintStr:url:params:retryTime:success:failed: | zefa_ZefaServerCallRetry_initWithPrintStr_url_params_retryTime_success_failed_ |
 * | ZefaServerCallRetry          | call                                              | zefa_ZefaServerCallRetry_call                                           |
 * | ZefaServerCallRetry          | callAgain                                         | zefa_ZefaServerCallRetry_callAgain                                      |
 * | ZefaServerCallRetry          | retryTime                                         | zefa_ZefaServerCallRetry_retryTime                                      |
 * | ZefaServerCallRetry          | setRetryTime:                                     | zefa_ZefaServerCallRetry_setRetryTime_                                  |
 * | ZefaStaticInfo               | init:                                             | zefa_ZefaStaticInfo_init_                                               |
 *
 * Not exported, so without a function: ZefaStatusCode's code/msg properties and toString, the
 * builder's code/msg/build, ZefaLog's writers, the hubs' listener lists (use the registration
 * functions below), the generic model helpers of ZefaSDKUtils, the constant types, and
 * ZefaServerCallRetry's and ZefaStaticInfo's other properties and coding (read the record with
 * zefa_ZefaStaticInfo_json).
 */
/* clang-format on */
#ifndef ZEFA_CAPI_ZEFA_H
#define ZEFA_CAPI_ZEFA_H

#include <stddef.h>
#include <stdint.h>

#if defined(_WIN32) && defined(ZEFA_BUILDING_CAPI)
#define ZEFA_API __declspec(dllexport)
#elif defined(_WIN32)
#define ZEFA_API __declspec(dllimport)
#else
#define ZEFA_API __attribute__((visibility("default")))
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Handles and strings ------------------------------------------------------------------ */

typedef struct zefa_ZefaStatusCode zefa_ZefaStatusCode;
typedef struct zefa_ZefaStatusCodeBuilder zefa_ZefaStatusCodeBuilder;
typedef struct zefa_ZefaLog zefa_ZefaLog;
typedef struct zefa_ZefaSDKLifecycleService zefa_ZefaSDKLifecycleService;
typedef struct zefa_ZefaThirdUploadLoggerService zefa_ZefaThirdUploadLoggerService;
typedef struct zefa_ZefaServerCallRetry zefa_ZefaServerCallRetry;
typedef struct zefa_ZefaStaticInfo zefa_ZefaStaticInfo;
/* One listener table registered with a hub (see the registration functions). */
typedef struct zefa_listener zefa_listener;

/* The platform's application objects: the game's own, passed through untouched. */
typedef struct ZefaApplication ZefaApplication;
typedef struct ZefaScene ZefaScene;
typedef struct ZefaOpenURLContext ZefaOpenURLContext;

/* Ends the caller's reference to any handle of this header. NULL, shared and lent handles:
 * nothing. */
ZEFA_API void zefa_release(const void* handle);
/* The same for one type: a handle of another type stops the program. */
ZEFA_API void zefa_ZefaStatusCode_release(const zefa_ZefaStatusCode* status);
ZEFA_API void zefa_ZefaStatusCodeBuilder_release(const zefa_ZefaStatusCodeBuilder* builder);
ZEFA_API void zefa_ZefaLog_release(const zefa_ZefaLog* log);
ZEFA_API void zefa_ZefaSDKLifecycleService_release(const zefa_ZefaSDKLifecycleService* hub);
ZEFA_API void zefa_ZefaThirdUploadLoggerService_release(
    const zefa_ZefaThirdUploadLoggerService* hub);
ZEFA_API void zefa_ZefaServerCallRetry_release(const zefa_ZefaServerCallRetry* call);
ZEFA_API void zefa_ZefaStaticInfo_release(const zefa_ZefaStaticInfo* info);
ZEFA_API void zefa_listener_release(const zefa_listener* listener);
/* Frees a string returned by this library. NULL: nothing. */
ZEFA_API void zefa_string_free(char* text);

/* ---- Start-up and version ----------------------------------------------------------------- */

/* Log levels, as the log callback receives them. */
enum { ZEFA_LOG_INFO = 0, ZEFA_LOG_DEBUG = 1, ZEFA_LOG_WARN = 2, ZEFA_LOG_ERROR = 3 };
/* Receives each log line, formatted as standard output would show it, terminator included
 * (line: lent for this call). It runs on the thread that logs, which may be any thread. */
typedef void (*zefa_log_callback)(int level, const char* line, void* user_data);

/* Start-up settings. Zero the struct, set struct_size to sizeof(zefa_options) and fill what you
 * need; a NULL or zero member keeps the default:
 *   zefa_options options = {.struct_size = sizeof(zefa_options)};
 * The size lets a later library read this struct, and this library a later one's prefix. */
typedef struct zefa_options {
  size_t struct_size;
  /* Info.json (or Info.plist) and resources. Default: the executable's directory. */
  const char* bundle_directory;
  /* User defaults and keychain files. Default: $XDG_DATA_HOME/<bundle identifier>/. */
  const char* data_directory;
  /* A PEM file of trusted certificates replacing the system's store. Default: the system's. */
  const char* ca_bundle;
  /* Log lines go here instead of standard output; user_data is handed back. */
  zefa_log_callback log_callback;
  void* log_user_data;
  /* Non-zero: info lines are written too (warnings and errors always are). */
  int show_info_log;
} zefa_options;

/* Applies the options; call once, first, from the main thread, before any other zefa_ function
 * and before other threads log. 1 when applied; 0 and nothing applied for NULL options, a
 * struct_size smaller than this version's struct, a ca_bundle that cannot be read, or a second
 * call. options: lent for this call (the texts are copied). */
ZEFA_API int zefa_start(const zefa_options* options);
/* The library's version, "major.minor.patch". Shared: a static text, never freed. */
ZEFA_API const char* zefa_version(void);

/* ---- ZefaStatusCode ----------------------------------------------------------------------- */

/* The predefined codes. Shared: the same handle on every call (releasing it does nothing). */
ZEFA_API zefa_ZefaStatusCode* zefa_ZefaStatusCode_Success(void);
ZEFA_API zefa_ZefaStatusCode* zefa_ZefaStatusCode_Failed(void);
ZEFA_API zefa_ZefaStatusCode* zefa_ZefaStatusCode_ErrorParameter(void);
ZEFA_API zefa_ZefaStatusCode* zefa_ZefaStatusCode_ErrorInternal(void);
ZEFA_API zefa_ZefaStatusCode* zefa_ZefaStatusCode_CLIENT_CONNECTION_ERROR(void);
ZEFA_API zefa_ZefaStatusCode* zefa_ZefaStatusCode_CLIENT_CODE_NOT_SUCCESS(void);
ZEFA_API zefa_ZefaStatusCode* zefa_ZefaStatusCode_CLIENT_HAS_NOT_LOGIN(void);
ZEFA_API zefa_ZefaStatusCode* zefa_ZefaStatusCode_CLIENT_NOT_SUPPORT_THIS_LOGINTYPE(void);
ZEFA_API zefa_ZefaStatusCode* zefa_ZefaStatusCode_CLIENT_GET_LOGIN_PARAMS_FAIL(void);
ZEFA_API zefa_ZefaStatusCode* zefa_ZefaStatusCode_CLIENT_SDK_NOT_INIT(void);
ZEFA_API zefa_ZefaStatusCode* zefa_ZefaStatusCode_CLIENT_AUTO_LOGIN_FAIL(void);
ZEFA_API zefa_ZefaStatusCode* zefa_ZefaStatusCode_CLIENT_HAS_LOGIN(void);
ZEFA_API zefa_ZefaStatusCode* zefa_ZefaStatusCode_CLIENT_APPSTORE_PAY_NOT_CONNECT(void);
ZEFA_API zefa_ZefaStatusCode* zefa_ZefaStatusCode_CLIENT_APPSTORE_PAY_RESPONSE_NOTOK(void);
ZEFA_API zefa_ZefaStatusCode* zefa_ZefaStatusCode_CLIENT_APPSTORE_PAY_SKU_NOT_FOUND(void);
ZEFA_API zefa_ZefaStatusCode* zefa_ZefaStatusCode_CLIENT_APPSTORE_PAY_BUY_FAIL(void);
ZEFA_API zefa_ZefaStatusCode* zefa_ZefaStatusCode_CLIENT_UNKNOW_EXCEPTION(void);

/* A new builder; yours: release with zefa_ZefaStatusCodeBuilder_release. Builders export nothing
 * else. */
ZEFA_API zefa_ZefaStatusCodeBuilder* zefa_ZefaStatusCode_Builder(void);
/* A new code with code and msg absent; yours: release with zefa_ZefaStatusCode_release. */
ZEFA_API zefa_ZefaStatusCode* zefa_ZefaStatusCode_init(void);
/* The code. NULL handle: 0. An absent code stops the program. */
ZEFA_API int64_t zefa_ZefaStatusCode_getCode(const zefa_ZefaStatusCode* status);
/* Sets the code on this object (shared codes included: every user sees it). NULL: nothing. */
ZEFA_API void zefa_ZefaStatusCode_setCode_(zefa_ZefaStatusCode* status, int64_t code);
/* The message; yours: free with zefa_string_free. NULL handle: NULL. An absent msg stops the
 * program. */
ZEFA_API char* zefa_ZefaStatusCode_getMsg(const zefa_ZefaStatusCode* status);
/* Sets the message on this object. NULL handle or NULL msg: nothing. */
ZEFA_API void zefa_ZefaStatusCode_setMsg_(zefa_ZefaStatusCode* status, const char* msg);
/* A new code with this code and `msg`; yours: release with zefa_ZefaStatusCode_release. This
 * object is unchanged. NULL handle or NULL msg: NULL. An absent code stops the program. */
ZEFA_API zefa_ZefaStatusCode* zefa_ZefaStatusCode_withMsg_(const zefa_ZefaStatusCode* status,
                                                           const char* msg);

/* ---- ZefaStatusCodeBuilder, ZefaLog ------------------------------------------------------- */

/* A new builder; yours: release with zefa_ZefaStatusCodeBuilder_release. */
ZEFA_API zefa_ZefaStatusCodeBuilder* zefa_ZefaStatusCodeBuilder_init(void);
/* A new ZefaLog object; yours: release with zefa_ZefaLog_release. Its operations are not
 * exported: log lines reach a C host through zefa_options.log_callback. */
ZEFA_API zefa_ZefaLog* zefa_ZefaLog_init(void);

/* ---- ZefaSDKLifecycleService -------------------------------------------------------------- */

/* A lifecycle listener. Every entry may be NULL (not implemented). Texts and arrays handed to an
 * entry are lent for that call. `dispose`, when set, is called once with user_data when the last
 * hub list and fan-out holding the listener let it go and its handle has been released. */
typedef struct zefa_ZefaSDKLifecycleProtocol {
  /* options_json: the options as a JSON object text, members in key order ("{}" when none);
   * NULL when an option holds text that is not UTF-8. */
  int (*application_openURL_options_)(ZefaApplication* application, const char* url,
                                      const char* options_json, void* user_data);
  /* source_application: NULL when absent; annotation: the pointer the game passed, or NULL. */
  int (*application_openURL_sourceApplication_annotation_)(ZefaApplication* application,
                                                           const char* url,
                                                           const char* source_application,
                                                           void* annotation, void* user_data);
  void (*scene_openURLContexts_)(ZefaScene* scene, ZefaOpenURLContext* const* url_contexts,
                                 size_t count, void* user_data);
  void (*dispose)(void* user_data);
} zefa_ZefaSDKLifecycleProtocol;

/* The process-wide hub. Shared: the same handle on every call. */
ZEFA_API zefa_ZefaSDKLifecycleService* zefa_ZefaSDKLifecycleService_sharedInstance(void);
/* A new hub with no listeners, independent of the shared one; yours: release with
 * zefa_ZefaSDKLifecycleService_release. */
ZEFA_API zefa_ZefaSDKLifecycleService* zefa_ZefaSDKLifecycleService_init(void);
/* Fans the callback out to every listener; 1 unless an implementing listener answered 0.
 * options_json: a JSON object text, or NULL for no options. NULL hub, NULL url or options_json
 * that is not a JSON object: no listener is called and the answer is 0. Nothing returned is
 * yours. */
ZEFA_API int zefa_ZefaSDKLifecycleService_application_openURL_options_(
    zefa_ZefaSDKLifecycleService* hub, ZefaApplication* application, const char* url,
    const char* options_json);
/* As above; source_application NULL is passed on as absent, annotation as it is (the game's).
 * NULL hub or NULL url: no listener is called and the answer is 0. */
ZEFA_API int zefa_ZefaSDKLifecycleService_application_openURL_sourceApplication_annotation_(
    zefa_ZefaSDKLifecycleService* hub, ZefaApplication* application, const char* url,
    const char* source_application, void* annotation);
/* Fans the scene callback out with the set of `count` contexts (duplicates count once; the
 * array is lent for this call). NULL hub, or NULL url_contexts with count > 0: nothing. */
ZEFA_API void zefa_ZefaSDKLifecycleService_scene_openURLContexts_(
    zefa_ZefaSDKLifecycleService* hub, ZefaScene* scene, ZefaOpenURLContext* const* url_contexts,
    size_t count);

/* Appends a listener made of a copy of `table` and `user_data` to the hub's list and returns its
 * handle; yours: release with zefa_listener_release (releasing does not remove it). user_data
 * stays the caller's: free it in `dispose`. NULL hub or NULL table: NULL. */
ZEFA_API zefa_listener* zefa_lifecycle_listener_add(zefa_ZefaSDKLifecycleService* hub,
                                                    const zefa_ZefaSDKLifecycleProtocol* table,
                                                    void* user_data);
/* Removes the listener from the hub's list; 1 when it was there. A fan-out already running
 * still calls it. The handle stays yours. NULL hub or listener: 0. */
ZEFA_API int zefa_lifecycle_listener_remove(zefa_ZefaSDKLifecycleService* hub,
                                            const zefa_listener* listener);

/* ---- ZefaThirdUploadLoggerService --------------------------------------------------------- */

/* An analytics adapter; every entry may be NULL (not implemented); texts handed to an entry are
 * lent for that call. The hub never calls log__;
 * it is there for callers of the adapter in C++ (params_json is NULL when the parameters hold
 * text that is not UTF-8). `dispose` as for lifecycle listeners. */
typedef struct zefa_ZefaThirdUploadLoggerProtocol {
  void (*gameStart)(void* user_data);
  void (*registerEvent)(void* user_data);
  void (*login)(void* user_data);
  void (*level_)(int64_t level, void* user_data);
  void (*addToCart___)(double amount, const char* first, const char* second, void* user_data);
  void (*initCheckout___)(double amount, const char* first, const char* second, void* user_data);
  void (*purchase___)(double amount, const char* first, const char* second, void* user_data);
  void (*subscription___)(double amount, const char* first, const char* second, void* user_data);
  void (*adShow______)(const char* first, const char* second, const char* third, const char* fourth,
                       const char* fifth, double amount, void* user_data);
  void (*log__)(const char* name, const char* params_json, void* user_data);
  void (*dispose)(void* user_data);
} zefa_ZefaThirdUploadLoggerProtocol;

/* The process-wide hub. Shared: the same handle on every call. */
ZEFA_API zefa_ZefaThirdUploadLoggerService* zefa_ZefaThirdUploadLoggerService_sharedInstance(void);
/* A new hub with no adapters, independent of the shared one; yours: release with
 * zefa_ZefaThirdUploadLoggerService_release. */
ZEFA_API zefa_ZefaThirdUploadLoggerService* zefa_ZefaThirdUploadLoggerService_init(void);
/* Each event is forwarded, arguments unchanged and in order, to every adapter implementing it;
 * nothing is returned. NULL hub: nothing. A NULL text (texts are never absent): nothing is
 * forwarded. */
ZEFA_API void zefa_ZefaThirdUploadLoggerService_gameStart(zefa_ZefaThirdUploadLoggerService* hub);
ZEFA_API void zefa_ZefaThirdUploadLoggerService_registerEvent(
    zefa_ZefaThirdUploadLoggerService* hub);
ZEFA_API void zefa_ZefaThirdUploadLoggerService_login(zefa_ZefaThirdUploadLoggerService* hub);
ZEFA_API void zefa_ZefaThirdUploadLoggerService_level_(zefa_ZefaThirdUploadLoggerService* hub,
                                                       int64_t level);
ZEFA_API void zefa_ZefaThirdUploadLoggerService_addToCart___(zefa_ZefaThirdUploadLoggerService* hub,
                                                             double amount, const char* first,
                                                             const char* second);
ZEFA_API void zefa_ZefaThirdUploadLoggerService_initCheckout___(
    zefa_ZefaThirdUploadLoggerService* hub, double amount, const char* first, const char* second);
ZEFA_API void zefa_ZefaThirdUploadLoggerService_purchase___(zefa_ZefaThirdUploadLoggerService* hub,
                                                            double amount, const char* first,
                                                            const char* second);
ZEFA_API void zefa_ZefaThirdUploadLoggerService_subscription___(
    zefa_ZefaThirdUploadLoggerService* hub, double amount, const char* first, const char* second);
ZEFA_API void zefa_ZefaThirdUploadLoggerService_adShow______(zefa_ZefaThirdUploadLoggerService* hub,
                                                             const char* first, const char* second,
                                                             const char* third, const char* fourth,
                                                             const char* fifth, double amount);

/* Appends an adapter made of a copy of `table` and `user_data`; as zefa_lifecycle_listener_add
 * (yours: release with zefa_listener_release). */
ZEFA_API zefa_listener* zefa_logger_listener_add(zefa_ZefaThirdUploadLoggerService* hub,
                                                 const zefa_ZefaThirdUploadLoggerProtocol* table,
                                                 void* user_data);
/* Removes the adapter from the hub's list; as zefa_lifecycle_listener_remove. */
ZEFA_API int zefa_logger_listener_remove(zefa_ZefaThirdUploadLoggerService* hub,
                                         const zefa_listener* listener);

/* ---- ZefaSDKUtils ------------------------------------------------------------------------- */
/* Every returned `char*` is yours: free with zefa_string_free; NULL stands for an absent result.
 * A NULL argument where text is required gives the absent result ("", 0 or nothing where the
 * operation has no absent result) without calling the library. */

/* JSON. objectToJsonString_ takes the value as JSON text (any JSON value) and returns the
 * library's compact form, NULL when the text is not JSON or its value is not an object or
 * array. The two parsers return the object or array re-written as compact JSON text. */
ZEFA_API char* zefa_ZefaSDKUtils_objectToJsonString_(const char* value_json);
ZEFA_API char* zefa_ZefaSDKUtils_jsonStringToDictionary_(const char* text);
ZEFA_API char* zefa_ZefaSDKUtils_jsonStringToArray_(const char* text);

/* Value formatting and time. nsDateToGmtString_ takes the instant in seconds since 1970; one
 * that is not finite or lies beyond about 292 years either side of 1970 gives NULL. */
ZEFA_API char* zefa_ZefaSDKUtils_boolToString_(int value);
ZEFA_API char* zefa_ZefaSDKUtils_intToString_(int64_t value);
ZEFA_API char* zefa_ZefaSDKUtils_doubleToString_(double value);
ZEFA_API int zefa_ZefaSDKUtils_notNull_(const char* text); /* NULL is absent: 0 */
ZEFA_API int64_t zefa_ZefaSDKUtils_getTimeStamp(void);
ZEFA_API char* zefa_ZefaSDKUtils_nsDateToGmtString_(double seconds_since_1970);

/* App bundle. getMainInfo: the information dictionary as JSON text; getMainInfoValueForKey_:
 * the value as JSON text (a text value comes back quoted). Both give NULL when the dictionary
 * or value is absent or holds text that is not UTF-8. NULL key: NULL. */
ZEFA_API char* zefa_ZefaSDKUtils_getMainInfo(void);
ZEFA_API char* zefa_ZefaSDKUtils_getMainInfoValueForKey_(const char* key);
ZEFA_API char* zefa_ZefaSDKUtils_getMainInfoStringForKey_(const char* key);
ZEFA_API char* zefa_ZefaSDKUtils_appBundleID(void);
ZEFA_API char* zefa_ZefaSDKUtils_appBundleShortVersion(void);
ZEFA_API char* zefa_ZefaSDKUtils_appBuildVersion(void);
ZEFA_API int64_t zefa_ZefaSDKUtils_appBundleVersionCode(void);
/* The file's text, yours (zefa_string_free). NULL file_name or sub_path: NULL. */
ZEFA_API char* zefa_ZefaSDKUtils_readFile_subPath_(const char* file_name, const char* sub_path);

/* Keychain and device identifiers; each text returned is yours (zefa_string_free). A NULL service,
 * key or value: nothing is read or written (getFromKeyChain_key_ gives "", listFromKeyChain_ NULL).
 * listFromKeyChain_ gives a JSON array text, NULL when an account name is not UTF-8. */
ZEFA_API char* zefa_ZefaSDKUtils_keyChainId(void);
ZEFA_API char* zefa_ZefaSDKUtils_idfv(void);
ZEFA_API char* zefa_ZefaSDKUtils_idfa(void);
ZEFA_API void zefa_ZefaSDKUtils_saveInKeyChain_key_value_(const char* service, const char* key,
                                                          const char* value);
ZEFA_API char* zefa_ZefaSDKUtils_getFromKeyChain_key_(const char* service, const char* key);
ZEFA_API char* zefa_ZefaSDKUtils_listFromKeyChain_(const char* service);
ZEFA_API void zefa_ZefaSDKUtils_removeFromKeyChain_key_(const char* service, const char* key);

/* Device and network environment; each text returned is yours (zefa_string_free). isVpn and
 * isProxy: 1 present, 0 absent, -1 unreadable. */
ZEFA_API char* zefa_ZefaSDKUtils_getSystemVersion(void);
ZEFA_API char* zefa_ZefaSDKUtils_getDeviceName(void);
ZEFA_API char* zefa_ZefaSDKUtils_getDeviceVersionWithRaw(void);
ZEFA_API char* zefa_ZefaSDKUtils_getNetworkStatus(void);
ZEFA_API int64_t zefa_ZefaSDKUtils_isVpn(void);
ZEFA_API int64_t zefa_ZefaSDKUtils_isProxy(void);

/* HTTP transport. `success` receives the reply object as JSON text, `failed` a message (both
 * lent for that call); either may be NULL, user_data stays valid until one has run. Exactly one
 * runs once: on the main queue, or at once on this thread when the request cannot start.
 * params_json: a JSON object text or NULL (none); headers_json: a JSON object of texts or NULL (the
 * default headers). NULL url, or params/headers text of another shape: `failed` is called at once
 * with "request parameter error" and nothing is sent. */
typedef void (*zefa_json_callback)(const char* json, void* user_data);
typedef void (*zefa_text_callback)(const char* text, void* user_data);
ZEFA_API void zefa_ZefaSDKUtils_get______(const char* url, const char* params_json,
                                          const char* headers_json, double timeout,
                                          zefa_json_callback success, zefa_text_callback failed,
                                          void* user_data);
ZEFA_API void zefa_ZefaSDKUtils_postJson______(const char* url, const char* params_json,
                                               const char* headers_json, double timeout,
                                               zefa_json_callback success,
                                               zefa_text_callback failed, void* user_data);

/* ---- ZefaServerCall ----------------------------------------------------------------------- */
/* The backend's settings, headers, URLs and posts. Settings are written at start-up, before the
 * first post, and only read afterwards (no lock is taken). */

/* The four settings, one getter and one setter each. A getter's text is yours
 * (zefa_string_free);
 * zefa_ZefaServerCall_SET_HOST returns NULL while SET_HOST is absent. A NULL value leaves HOST,
 * DEVICE_ID_KEY and DEVICE_ID as they are; for SET_HOST it makes the setting absent. */
ZEFA_API char* zefa_ZefaServerCall_HOST(void);
ZEFA_API void zefa_ZefaServerCall_setHOST_(const char* host);
ZEFA_API char* zefa_ZefaServerCall_SET_HOST(void);
ZEFA_API void zefa_ZefaServerCall_setSET_HOST_(const char* set_host);
ZEFA_API char* zefa_ZefaServerCall_DEVICE_ID_KEY(void);
ZEFA_API void zefa_ZefaServerCall_setDEVICE_ID_KEY_(const char* key);
ZEFA_API char* zefa_ZefaServerCall_DEVICE_ID(void);
ZEFA_API void zefa_ZefaServerCall_setDEVICE_ID_(const char* device_id);
/* HOST, SET_HOST (made present, even when empty) and DEVICE_ID at once. Any NULL: nothing. */
ZEFA_API void zefa_ZefaServerCall_setHostAndDeviceId___(const char* host, const char* set_host,
                                                        const char* device_id);
/* The request headers as a JSON object text, yours (zefa_string_free); NULL when a header is
 * not UTF-8. A DEVICE_ID_KEY of "Content-Type" or "Accept" is fatal, as in C++. */
ZEFA_API char* zefa_ZefaServerCall_getRequestHeaders(void);
/* HOST + path, with "?sessionToken=" and the stored token (use_disk_token) or `token` (NULL:
 * absent); yours (zefa_string_free). NULL when the stored login record has no token, or for a
 * NULL path. */
ZEFA_API char* zefa_ZefaServerCall_newUrl___(int use_disk_token, const char* path,
                                             const char* token);

/* Posts. `success` receives the reply's "data" object as JSON text (lent for that call); `failed`
 * a status code lent for that call: read it there (or keep a copy made with
 * zefa_ZefaStatusCode_withMsg_); releasing it does nothing. A predefined code arrives as its shared
 * handle, so it compares equal to zefa_ZefaStatusCode_<name>(). Either callback may be NULL
 * (absent); user_data is handed to both and must stay valid until one of them has run. Exactly one
 * runs, once, on the main thread (see zefa_main_run_once), except these, which run at once on the
 * calling thread: no stored token while use_disk_token (CLIENT_HAS_NOT_LOGIN), a URL the transport
 * rejects, and a NULL path or a params_json that is not a JSON object text (ErrorParameter; nothing
 * is sent). token: NULL is absent. retry_time is ignored: these posts are never retried. */
typedef void (*zefa_status_callback)(const zefa_ZefaStatusCode* status, void* user_data);
ZEFA_API void zefa_ZefaServerCall_postJsonAsync_____(int use_disk_token, const char* path,
                                                     const char* params_json,
                                                     zefa_json_callback success,
                                                     zefa_status_callback failed, void* user_data);
ZEFA_API void zefa_ZefaServerCall_postJsonAsyncWithToken______(
    int use_disk_token, const char* path, const char* params_json, const char* token,
    zefa_json_callback success, zefa_status_callback failed, void* user_data);
ZEFA_API void zefa_ZefaServerCall_postJsonAsyncWithTokenAndRetry_______(
    int use_disk_token, const char* path, const char* params_json, const char* token,
    int64_t retry_time, zefa_json_callback success, zefa_status_callback failed, void* user_data);
/* The stored login record's "sessionToken", yours (zefa_string_free); NULL when absent. */
ZEFA_API char* zefa_ZefaServerCall_getSessionTokenFormDisk(void);
/* The stored login record's "gameAccountId": 1 and *game_account_id set when present, 0 (and
 * *game_account_id untouched) when absent. game_account_id may be NULL. */
ZEFA_API int zefa_ZefaServerCall_getGameAccountIdFormDisk(int64_t* game_account_id);

/* ---- ZefaServerCallRetry ------------------------------------------------------------------ */

/* One backend request that repeats a backend failure after 3 seconds while retries are left.
 * Yours: release with zefa_ZefaServerCallRetry_release; the request keeps itself alive while its
 * reply or a retry is pending, so releasing it right after _call loses nothing. The callbacks are
 * those of the posts above. retry_time: NULL is absent (a backend failure with a message then
 * stops the program, as in C++). NULL print_str or url, or params_json that is not a JSON object
 * text: NULL. */
ZEFA_API zefa_ZefaServerCallRetry*
zefa_ZefaServerCallRetry_initWithPrintStr_url_params_retryTime_success_failed_(
    const char* print_str, const char* url, const char* params_json, const int64_t* retry_time,
    zefa_json_callback success, zefa_status_callback failed, void* user_data);
/* Posts the request (callAgain: again, as the retry timer does). The handle stays yours. NULL:
 * nothing. */
ZEFA_API void zefa_ZefaServerCallRetry_call(zefa_ZefaServerCallRetry* call);
ZEFA_API void zefa_ZefaServerCallRetry_callAgain(zefa_ZefaServerCallRetry* call);
/* The retries still allowed; read and write them on the main thread only. The getter returns
 * 0 when absent (or for NULL), else 1 and *retry_time set (retry_time may be NULL). The setter's
 * NULL makes it absent; retry_time is read during the call only. */
ZEFA_API int zefa_ZefaServerCallRetry_retryTime(const zefa_ZefaServerCallRetry* call,
                                                int64_t* retry_time);
ZEFA_API void zefa_ZefaServerCallRetry_setRetryTime_(zefa_ZefaServerCallRetry* call,
                                                     const int64_t* retry_time);

/* ---- ZefaStaticInfo ----------------------------------------------------------------------- */

/* A record filled from the bundle, keychain, device and clock; yours: release with
 * zefa_ZefaStaticInfo_release. NULL: NULL. */
ZEFA_API zefa_ZefaStaticInfo* zefa_ZefaStaticInfo_init_(const char* game_name);
/* The record as a JSON object text, one member per present field (its properties), yours
 * (zefa_string_free); NULL when a field holds text that is not UTF-8. NULL: NULL. */
ZEFA_API char* zefa_ZefaStaticInfo_json(const zefa_ZefaStaticInfo* info);

/* ---- The main thread ---------------------------------------------------------------------- */

/* Runs what is due on the installed main queue (posted outcomes, then due timers) and returns the
 * number run (nothing to free); never blocks. The thread that calls it is the main thread: call it
 * once per frame from the game's main thread. */
ZEFA_API size_t zefa_main_run_once(void);
/* A handle that is ready while work is pending on the main queue, for hosts that wait in their
 * own event loop: a file descriptor that polls readable on POSIX systems, a HANDLE to wait on
 * (WaitForSingleObject) on Windows. zefa_main_run_once makes it quiet again. Shared: do not read,
 * reset or close it. -1 when the queue has none. */
ZEFA_API intptr_t zefa_main_wake_handle(void);
/* zefa_main_wake_handle as a file descriptor; -1 on Windows and when there is none. */
ZEFA_API int zefa_main_wake_fd(void);

#ifdef __cplusplus
}
#endif

#endif /* ZEFA_CAPI_ZEFA_H */
