/* A C program built against an installed libzefa (through CMake's ZefaBase::CApi or through
 * `pkg-config --cflags --libs zefa`): start-up with a log callback, a status code, a JSON helper.
 * The first argument is a directory for the library's data. Exits with 0 when each gives what it
 * should. */
#include <stdio.h>
#include <string.h>

#include "ZefaBase/capi/zefa.h"

static void onLogLine(int level, const char* line, void* user_data) {
  (void)line;
  if (level == ZEFA_LOG_WARN) ++*(int*)user_data;
}

int main(int argc, char** argv) {
  int failures = 0, warnings = 0;
  zefa_options options = {.struct_size = sizeof(zefa_options)};
  options.data_directory = argc > 1 ? argv[1] : NULL;
  options.log_callback = onLogLine;
  options.log_user_data = &warnings;
  if (!zefa_start(&options)) failures++;

  zefa_ZefaStatusCode* status = zefa_ZefaStatusCode_withMsg_(zefa_ZefaStatusCode_Failed(), "c");
  char* msg = zefa_ZefaStatusCode_getMsg(status);
  if (zefa_ZefaStatusCode_getCode(status) != 400 || msg == NULL || strcmp(msg, "c") != 0)
    failures++;
  zefa_string_free(msg);
  zefa_ZefaStatusCode_release(status);

  char* json = zefa_ZefaSDKUtils_jsonStringToDictionary_("{ \"k\" : [1, 2] }");
  if (json == NULL || strcmp(json, "{\"k\":[1,2]}") != 0) failures++;
  zefa_string_free(json);

  /* No login record is stored: a warning, through the callback rather than standard output. */
  char* token = zefa_ZefaServerCall_getSessionTokenFormDisk();
  if (token != NULL || warnings != 1) failures++;
  zefa_string_free(token);

  printf("consumer_c %s: %s\n", zefa_version(), failures == 0 ? "ok" : "FAILED");
  return failures == 0 ? 0 : 1;
}
