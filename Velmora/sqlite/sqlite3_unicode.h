/* sqlite3_unicode: Unicode 5.1 case folding, case mapping, accent removal, a NOCASE
 * collation and a Unicode-aware LIKE for SQLite, on compiled-in tables (plain C).
 *
 * Thread safety: the mapping functions read constant tables and may be called from any
 * thread. sqlite3_unicode_init follows SQLite's rules for the connection it is given;
 * sqlite3_unicode_load and sqlite3_unicode_free change process-wide state, as
 * sqlite3_auto_extension does.
 *
 *   sqlite3_unicode_init(db);
 *   // SELECT fold('ÀB') -> 'àb';  SELECT unaccent('Crème brûlée') -> 'Creme brulee'
 *   // SELECT 'ÉCOLE' = 'école' COLLATE NOCASE -> 1
 *
 * The SQL functions are described in sqlite3_unicode.c.
 */
#ifndef VELMORA_SQLITE_SQLITE3_UNICODE_H
#define VELMORA_SQLITE_SQLITE3_UNICODE_H

#include <sqlite3.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* The version the tables were generated from, as unicode_version() answers it. */
#define SQLITE3_UNICODE_VERSION "5.1.0.12"

/* One UTF-16 code unit in, its simple mapping out; units without one (surrogates
 * included) come back unchanged. */
uint16_t sqlite3_unicode_fold(uint16_t c);
uint16_t sqlite3_unicode_lower(uint16_t c);
uint16_t sqlite3_unicode_upper(uint16_t c);
uint16_t sqlite3_unicode_title(uint16_t c);

/* The unit(s) c stands for once its accents are removed; answers the first of them, or
 * c when it has none to remove. When out_values and out_length are given they receive
 * the table's sequence for c and its length (1 or more). Below 128 the sequence is a
 * copy of c; for other units without a mapping it is the single marker 0xFFFF, so
 * use the return value when *out_length is 1. Either out argument may be NULL. */
uint16_t sqlite3_unicode_unacc(uint16_t c, const uint16_t** out_values, int* out_length);

/* The NOCASE comparison: encoding is SQLITE_UTF8 or SQLITE_UTF16 cast to a pointer (the
 * collation's argument); lengths are in bytes. Answers <0, 0 or >0 as SQLite expects. */
int sqlite3_unicode_collate(void* encoding, int length1, const void* text1, int length2,
                            const void* text2);

/* Registers the SQL functions and the NOCASE collation on db. Answers SQLITE_OK, the
 * first function registration's error, or the second collation registration's result. */
int sqlite3_unicode_init(sqlite3* db);

/* Makes every connection opened from now on get sqlite3_unicode_init. */
int sqlite3_unicode_load(void);

/* Removes every automatic extension of the process, also those others registered. */
void sqlite3_unicode_free(void);

#ifdef __cplusplus
}
#endif

#endif /* VELMORA_SQLITE_SQLITE3_UNICODE_H */
