/* Prints the report of a saved snapshot. Usage: report <SNAPSHOT */

#include <stdio.h>
#include <stdlib.h>

#include "egress_c/egress.h"

/* Reads standard input. Returns null if that fails or memory runs out; the caller frees the text.
 */
static char* read_input(size_t* length) {
  size_t capacity = 1 << 16;
  char* text = malloc(capacity);
  *length = 0;
  while (text != NULL) {
    const size_t count = fread(text + *length, 1, capacity - *length, stdin);
    if (count == 0 && !ferror(stdin)) return text;
    if (count == 0) break;
    *length += count;
    if (*length < capacity) continue;
    char* const larger = realloc(text, capacity *= 2);
    if (larger == NULL) break;
    text = larger;
  }
  free(text);
  return NULL;
}

int main(void) {
  size_t length;
  char* const snapshot = read_input(&length);
  if (snapshot == NULL) {
    perror("report: standard input");
    return 1;
  }
  const egress_result* const result = egress_diagnose(snapshot, length);
  free(snapshot);
  const int is_refused = egress_result_status(result) != EGRESS_OK;
  FILE* const output = is_refused ? stderr : stdout;
  fwrite(egress_result_text(result), 1, egress_result_length(result), output);
  fputc('\n', output);
  egress_result_free(result);
  if (fflush(output) == 0) return is_refused;
  perror("report: output");
  return 1;
}
