#ifndef EGRESS_C_EGRESS_H
#define EGRESS_C_EGRESS_H

#include <stddef.h>
#include <stdint.h>

/* The C interface, for C99, C++ and every language that calls C: through which network interface
 * does the local proxy engine's traffic to its active endpoint leave a host? JSON (RFC 8259) goes
 * in and comes out. docs/snapshot.schema.json, report.schema.json and details.schema.json are the
 * schemas.
 *
 * - Texts are bytes with a length; none needs a zero byte at its end. A null pointer is an empty
 *   text. A text that is handed over is only read, and never kept.
 * - Functions that return a result never return null. The caller owns the result, and frees it with
 *   egress_result_free.
 * - Every function may be called by any number of threads at once. Calls share
 *   nothing but tables that never change, which are made at first use; nothing belongs to a thread.
 * - No exception leaves a function, and none ends the program: exhausted memory is a status. */

/* Users of the shared library on Windows import its functions; its own build exports them. */
#if defined(_WIN32) && defined(EGRESS_C_BUILDING)
#define EGRESS_C_EXPORT __declspec(dllexport)
#elif defined(_WIN32)
#define EGRESS_C_EXPORT __declspec(dllimport)
#elif defined(__GNUC__)
#define EGRESS_C_EXPORT __attribute__((visibility("default")))
#else
#define EGRESS_C_EXPORT
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* Values of egress_status. More may follow in later versions. */
enum {
  EGRESS_OK = 0,        /* the text is what was asked for */
  EGRESS_REFUSED = 1,   /* an input is not what the function reads; the text says what is wrong */
  EGRESS_NO_MEMORY = 2, /* memory ran out */
  EGRESS_FAILED = 3,    /* a defect of this library */
  EGRESS_NO_PROCESS = 4 /* no process to take a snapshot of; the text says why */
};
typedef uint32_t egress_status;

/* What a function returns: a status and a text in UTF-8. It never changes, so any number of threads
 * may read it. */
typedef struct egress_result egress_result;

/* The status. */
EGRESS_C_EXPORT egress_status egress_result_status(const egress_result* result);

/* The text, of egress_result_length() bytes and a zero byte after them. It lives as long as the
 * result. With EGRESS_OK it is JSON; that of egress_version is the version. With any other status
 * it is one line in words for people. */
EGRESS_C_EXPORT const char* egress_result_text(const egress_result* result);

/* The length of the text in bytes, without the zero byte. */
EGRESS_C_EXPORT size_t egress_result_length(const egress_result* result);

/* Frees a result. Does nothing with null. */
EGRESS_C_EXPORT void egress_result_free(const egress_result* result);

/* Makes a result with a copy of the text; EGRESS_NO_MEMORY if memory runs out. For libraries above
 * this one, which return results, too. */
EGRESS_C_EXPORT const egress_result* egress_result_new(egress_status status, const char* text,
                                                       size_t length);

/* The version of this library, for example "1.2.3". */
EGRESS_C_EXPORT const egress_result* egress_version(void);

/* A snapshot of the engine's configuration, in which comments and trailing commas are ignored, and
 * of its answers, without any list of the host: `adapters`, `routes` and `sockets` have failed. Who
 * has the lists sets `enumFailed` to false and `rows`.
 *
 * `answers` is an object of a selector's tag and the engine's answer, for example
 * {"proxy": {"now": "node_3"}}; an empty text if there are none. EGRESS_REFUSED: it is no such
 * object. Any configuration is read: the report says whether it is usable. */
EGRESS_C_EXPORT const egress_result* egress_read_config(const char* config, size_t configLength,
                                                        const char* answers, size_t answersLength);

/* The report of a snapshot. EGRESS_REFUSED: it is not a snapshot. */
EGRESS_C_EXPORT const egress_result* egress_diagnose(const char* snapshot, size_t length);

/* The details of a snapshot, without line ends, because they may be large: the report, what is
 * behind it, and the cross-check with what the system says about the same sockets. EGRESS_REFUSED:
 * it is not a snapshot. */
EGRESS_C_EXPORT const egress_result* egress_diagnose_in_detail(const char* snapshot, size_t length);

/* The snapshot without private data; it gives the same report. EGRESS_REFUSED: it is not a
 * snapshot, or has more addresses of one class than there are replacements (16,777,216). */
EGRESS_C_EXPORT const egress_result* egress_anonymize(const char* snapshot, size_t length);

/* What a word of the report or the cross-check means, for example "NO_MATCHING_SOCKET": an array
 * with an object for each member that can have the word, of the texts `key` (the member, or
 * "MEMBER[].COLUMN", or "crossCheck"), `question` (that its words answer), `meaning`, `usualCause`
 * and `whatToDo`, and the object `smallestInput` of the texts `config`, `answer` (of the selector
 * tagged "proxy") and `snapshot`, as far as it needs them. In the sentences, names of code stand
 * between backquotes. An unknown word gives an empty array. */
EGRESS_C_EXPORT const egress_result* egress_explain(const char* word, size_t length);

/* Where a JSON text breaks off: null if it does not, otherwise an object of `kind` (for example
 * "NO_COMMA"), `offset` (of the faulty byte, from 0), `line` and `column` (both from 1; the column
 * counts bytes) and `message` (what is wrong there, in words). */
EGRESS_C_EXPORT const egress_result* egress_find_json_fault(const char* text, size_t length);

/* The same for a configuration, in which comments and trailing commas are ignored. */
EGRESS_C_EXPORT const egress_result* egress_find_config_fault(const char* config, size_t length);

#ifdef __cplusplus
}
#endif

#endif
