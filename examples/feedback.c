/*
 * A host that sends what a user wants to say, with files.
 *
 *   feedback [--store DIR] TITLE DESCRIPTION [FILE ...]
 */
#include <stdio.h>
#include <string.h>
#include <wrenfall/wrenfall.h>

#include "utf8_arguments.h"

int main(void) {
  int argc = 0;
  char** argv = utf8_arguments(&argc);
  wrenfall_options* const options = wrenfall_options_new("127", "Feedback", "1.0");
  wrenfall_upload_result outcome;
  wrenfall_result result;
  if (argc > 2 && strcmp(argv[1], "--store") == 0) {
    wrenfall_options_set_store_dir(options, argv[2]);
    argv += 2;
    argc -= 2;
  }
  if (argc < 3) {
    wrenfall_options_free(options);
    fputs("usage: feedback [--store DIR] TITLE DESCRIPTION [FILE ...]\n", stderr);
    return 2;
  }
  wrenfall_options_set_upload_policy(options, WRENFALL_UPLOAD_QUIET);
  result = wrenfall_init(options);
  if (result != WRENFALL_OK) {
    fprintf(stderr, "feedback: wrenfall_init gave %d\n", (int)result);
    return 1;
  }
  memset(&outcome, 0, sizeof outcome);
  outcome.size = sizeof outcome;
  result = wrenfall_post_feedback(argv[1], argv[2], (const char* const*)(argv + 3),
                                  (uint32_t)(argc - 3), &outcome);
  if (result == WRENFALL_OK) {
    printf("Thank you: number %lld, %s\n", (long long)outcome.crash_id,
           outcome.info_url == NULL ? "" : outcome.info_url);
  } else {
    printf("Not sent: result %d, HTTP status %d\n", (int)result, (int)outcome.http_status);
  }
  wrenfall_upload_result_free(&outcome);
  wrenfall_shutdown();
  return result == WRENFALL_OK ? 0 : 1;
}
