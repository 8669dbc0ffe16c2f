/* sqlite3_unicode: accent- and case-insensitive text for SQLite beyond ASCII.
 *
 * sqlite3_unicode_init(db) registers, with text representation SQLITE_ANY:
 *
 *   unicode_version()     "5.1.0.12", the Unicode version of the tables.
 *   like(P, X)            1 if X matches the pattern P, else 0; NULL if either is NULL.
 *   like(P, X, E)         the same with E as escape character. "X LIKE P [ESCAPE E]"
 *                         calls these. "%" matches any run of characters, "_" exactly
 *                         one; there are no bracket sets. Characters compare after
 *                         unaccent and fold, so 'Été' LIKE 'ete' is 1. A pattern over
 *                         50000 bytes fails with "LIKE or GLOB pattern too complex"; an
 *                         escape that is not exactly one character fails with "ESCAPE
 *                         expression must be a single character"; a NULL escape gives
 *                         NULL. A pattern ending in a lone escape matches nothing.
 *   fold(X)               X case-folded (simple folding), for comparing.
 *   lower(X), upper(X)    X lower- or upper-cased (replacing SQLite's ASCII ones).
 *   title(X)              every character of X title-cased; words are not detected.
 *   unaccent(X)           X with accents removed: 'Crème' -> 'Creme'. The result may be
 *                         longer than X (see the generated tables' list).
 *
 * Each one-argument function gives NULL for NULL and for no argument, and works on
 * UTF-16 code units of the Basic Multilingual Plane: the case functions map one unit to
 * one unit, so they never change a text's length, and surrogate pairs pass through.
 * Mapping stops at an embedded zero unit; the units after it are kept as they are.
 *
 * The collation NOCASE (for UTF-8 and UTF-16) replaces SQLite's ASCII-only one: each
 * character is reduced to the first unit of its unaccented form, then folded, and the
 * reduced characters are compared up to the shorter text's byte length. Texts equal
 * that far order by their byte lengths. So in a UTF-16 database 'É' = 'e', while in a
 * UTF-8 one 'É' (two bytes) sorts after 'e' (one); 'ÉCOLE' = 'école' in both, and a
 * composed accent never equals a decomposed one.
 *
 *   sqlite> SELECT upper('straße'), unaccent('Ελληνικά'), 'ÉCOLE' = 'école' COLLATE NOCASE;
 *   STRAßE|Ελληνικα|1
 *
 * Built with VELMORA_SQLITE_LOADABLE, this file is a loadable extension:
 *   sqlite3 db '.load ./libvelmora_sqlite_unicode'
 */
#ifdef VELMORA_SQLITE_LOADABLE
#include <sqlite3ext.h>
SQLITE_EXTENSION_INIT1
#else
#include <sqlite3.h>
#endif

#include <stddef.h>
#include <stdint.h>
#include <string.h>

#include "Velmora/sqlite/sqlite3_unicode.h"

/* Generated from data/ucd by tools/gen-unicode-tables into the build tree. */
#include "sqlite3_unicode_tables.inc"

enum { kIdentity = 0xFFFF, kLikePatternLimit = 50000 };

/* --- Table lookups ------------------------------------------------------------- */

static uint16_t fold_unit(uint16_t c) {
    const unsigned row = fold_index[c / FOLD_WIDTH];
    const uint16_t v = fold_values[row][fold_offsets[row][c % FOLD_WIDTH]];
    return v == kIdentity ? c : v;
}

uint16_t sqlite3_unicode_fold(uint16_t c) {
    return fold_unit(c);
}

uint16_t sqlite3_unicode_lower(uint16_t c) {
    const unsigned row = lower_index[c / LOWER_WIDTH];
    const uint16_t v = lower_values[row][lower_offsets[row][c % LOWER_WIDTH]];
    return v == kIdentity ? c : v;
}

uint16_t sqlite3_unicode_upper(uint16_t c) {
    const unsigned row = upper_title_index[c / UPPER_TITLE_WIDTH];
    const uint16_t v = upper_values[row][upper_title_offsets[row][c % UPPER_TITLE_WIDTH]];
    return v == kIdentity ? c : v;
}

uint16_t sqlite3_unicode_title(uint16_t c) {
    const unsigned row = upper_title_index[c / UPPER_TITLE_WIDTH];
    const uint16_t v = title_values[row][upper_title_offsets[row][c % UPPER_TITLE_WIDTH]];
    return v == kIdentity ? c : v;
}

uint16_t sqlite3_unicode_unacc(uint16_t c, const uint16_t** out_values, int* out_length) {
    const uint16_t* values;
    int length;
    if (c < 128) {
        values = &unaccent_ascii[c];
        length = 1;
    } else {
        const unsigned row = unaccent_index[c / UNACCENT_WIDTH];
        const unsigned k = c % UNACCENT_WIDTH;
        values = &unaccent_values[row][unaccent_offsets[row][k]];
        length = unaccent_offsets[row][k + 1] - unaccent_offsets[row][k];
    }
    if (out_values) {
        *out_values = values;
    }
    if (out_length) {
        *out_length = length;
    }
    return length == 1 && values[0] == kIdentity ? c : values[0];
}

/* What LIKE and NOCASE compare: the first unit of the unaccented form, folded. Code
 * points beyond the plane have no table entries and compare as they are. */
static uint32_t reduced(uint32_t c) {
    if (c < 128) {
        return c >= 'A' && c <= 'Z' ? c + ('a' - 'A') : c;
    }
    if (c > 0xFFFF) {
        return c;
    }
    return fold_unit(sqlite3_unicode_unacc((uint16_t)c, NULL, NULL));
}

/* --- UTF-8 --------------------------------------------------------------------- */

/* Decodes the character at *at (REQUIRES *at < end) and moves past it. Never reads at or
 * beyond end. Malformed input (a stray continuation byte, a truncated or overlong
 * sequence, an encoded surrogate, a value beyond U+10FFFF) gives U+FFFD for the bytes
 * read so far, so every byte belongs to exactly one character, and sets *malformed. */
static uint32_t utf8_decode(const unsigned char** at, const unsigned char* end, int* malformed) {
    const unsigned char* p = *at;
    const unsigned lead = *p++;
    uint32_t c;
    uint32_t least;
    int more;
    if (lead < 0x80) {
        *at = p;
        return lead;
    }
    if (lead >= 0xC2 && lead <= 0xDF) {
        c = lead & 0x1Fu;
        more = 1;
        least = 0x80;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
        c = lead & 0x0Fu;
        more = 2;
        least = 0x800;
    } else if (lead >= 0xF0 && lead <= 0xF4) {
        c = lead & 0x07u;
        more = 3;
        least = 0x10000;
    } else {
        *at = p;
        *malformed = 1;
        return 0xFFFD;
    }
    while (more > 0) {
        if (p == end || (*p & 0xC0u) != 0x80u) {
            *at = p;
            *malformed = 1;
            return 0xFFFD;
        }
        c = (c << 6) | (*p++ & 0x3Fu);
        --more;
    }
    *at = p;
    if (c < least || c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF)) {
        *malformed = 1;
        return 0xFFFD;
    }
    return c;
}

static uint32_t utf8_next(const unsigned char** at, const unsigned char* end) {
    int malformed = 0;
    return utf8_decode(at, end, &malformed);
}

/* Writes c (a scalar value) as UTF-8; answers the bytes written (at most 4). */
static size_t utf8_put(unsigned char* out, uint32_t c) {
    if (c < 0x80) {
        out[0] = (unsigned char)c;
        return 1;
    }
    if (c < 0x800) {
        out[0] = (unsigned char)(0xC0 | (c >> 6));
        out[1] = (unsigned char)(0x80 | (c & 0x3F));
        return 2;
    }
    if (c < 0x10000) {
        out[0] = (unsigned char)(0xE0 | (c >> 12));
        out[1] = (unsigned char)(0x80 | ((c >> 6) & 0x3F));
        out[2] = (unsigned char)(0x80 | (c & 0x3F));
        return 3;
    }
    out[0] = (unsigned char)(0xF0 | (c >> 18));
    out[1] = (unsigned char)(0x80 | ((c >> 12) & 0x3F));
    out[2] = (unsigned char)(0x80 | ((c >> 6) & 0x3F));
    out[3] = (unsigned char)(0x80 | (c & 0x3F));
    return 4;
}

/* SQLite hands text out zero-terminated and its own LIKE ends a text at the first zero
 * byte; so does this one. */
static const unsigned char* text_end(const unsigned char* text, int bytes) {
    const unsigned char* zero = memchr(text, 0, (size_t)bytes);
    return zero ? zero : text + bytes;
}

/* --- LIKE ---------------------------------------------------------------------- */

/* The wildcards of one LIKE flavour; the functions' user data. */
typedef struct like_info {
    uint32_t match_all;
    uint32_t match_one;
    uint32_t match_set; /* 0: no bracket sets */
    int no_case;
} like_info;

static const like_info kLikeInfo = {'%', '_', 0, 1};

static int characters_equal(uint32_t a, uint32_t b, int no_case) {
    return a == b || (no_case && reduced(a) == reduced(b));
}

/* Greedy matching that, on a mismatch, returns to the most recent "%" and lets it take
 * one more character. With only "%" and "_" as wildcards this finds a match whenever
 * one exists, in time proportional to pattern times text (no exponential recursion).
 * A wildcard equal to the escape character has been switched off (set to 0, which
 * never occurs inside the zero-terminated texts). */
static int like_match(const unsigned char* p, const unsigned char* p_end, const unsigned char* t,
                      const unsigned char* t_end, uint32_t all, uint32_t one, uint32_t escape,
                      int no_case) {
    const unsigned char* star_p = NULL;
    const unsigned char* star_t = NULL;
    for (;;) {
        if (p < p_end) {
            const unsigned char* p_next = p;
            uint32_t pc = utf8_next(&p_next, p_end);
            if (pc == all) {
                star_p = p_next;
                star_t = t;
                p = p_next;
                continue;
            }
            if (pc == escape) {
                if (p_next == p_end) {
                    return 0;
                }
                pc = utf8_next(&p_next, p_end);
            } else if (pc == one && t < t_end) {
                utf8_next(&t, t_end);
                p = p_next;
                continue;
            }
            if (t < t_end) {
                const unsigned char* t_next = t;
                const uint32_t tc = utf8_next(&t_next, t_end);
                if (characters_equal(pc, tc, no_case)) {
                    p = p_next;
                    t = t_next;
                    continue;
                }
            }
        } else if (t == t_end) {
            return 1;
        }
        if (star_p == NULL || star_t == t_end) {
            return 0;
        }
        utf8_next(&star_t, t_end);
        p = star_p;
        t = star_t;
    }
}

static void like_function(sqlite3_context* context, int argc, sqlite3_value** argv) {
    const like_info* info = sqlite3_user_data(context);
    const unsigned char* pattern = sqlite3_value_text(argv[0]);
    const int pattern_bytes = sqlite3_value_bytes(argv[0]);
    uint32_t escape = 0;
    uint32_t all = info->match_all;
    uint32_t one = info->match_one;
    const unsigned char* text;
    if (pattern_bytes > kLikePatternLimit) {
        sqlite3_result_error(context, "LIKE or GLOB pattern too complex", -1);
        return;
    }
    if (argc == 3) {
        const unsigned char* e = sqlite3_value_text(argv[2]);
        const unsigned char* e_end;
        if (e == NULL) {
            return; /* NULL escape: NULL */
        }
        e_end = text_end(e, sqlite3_value_bytes(argv[2]));
        if (e < e_end) {
            escape = utf8_next(&e, e_end);
        }
        if (e != e_end || escape == 0) {
            sqlite3_result_error(context, "ESCAPE expression must be a single character", -1);
            return;
        }
        if (escape == all) {
            all = 0;
        }
        if (escape == one) {
            one = 0;
        }
    }
    text = sqlite3_value_text(argv[1]);
    if (pattern == NULL || text == NULL) {
        return;
    }
    sqlite3_result_int(context, like_match(pattern, text_end(pattern, pattern_bytes), text,
                                           text_end(text, sqlite3_value_bytes(argv[1])), all, one,
                                           escape, info->no_case));
}

/* --- Case functions and unaccent ----------------------------------------------- */

/* The user data of a case function: the unit mapping it applies. (A function pointer
 * cannot travel through SQLite's void* portably, a pointer to this record can.) */
typedef struct case_mapping {
    uint16_t (*map)(uint16_t);
} case_mapping;

static const case_mapping kFold = {sqlite3_unicode_fold};
static const case_mapping kLower = {sqlite3_unicode_lower};
static const case_mapping kUpper = {sqlite3_unicode_upper};
static const case_mapping kTitle = {sqlite3_unicode_title};

static void unicode_version_function(sqlite3_context* context, int argc, sqlite3_value** argv) {
    (void)argc;
    (void)argv;
    sqlite3_result_text(context, SQLITE3_UNICODE_VERSION, -1, SQLITE_STATIC);
}

/* The functions are defined on UTF-16 units, and SQLite would convert a UTF-8 text to
 * UTF-16 and the result back. For valid UTF-8 mapping each code point of the plane
 * directly gives the same text (one BMP character is one unit, and characters beyond
 * the plane are never mapped) without the two conversions, which cost more than the
 * mapping. Malformed UTF-8 answers 0 and takes the UTF-16 path, so that its
 * replacement characters are SQLite's own. */
static inline int case_function_utf8(sqlite3_context* context, const unsigned char* text,
                                     size_t bytes, uint16_t (*map)(uint16_t)) {
    const unsigned char* p = text;
    const unsigned char* const end = text + bytes;
    unsigned char* out = sqlite3_malloc64(3 * bytes + 1); /* a unit grows by 2 bytes at most */
    size_t length = 0;
    int malformed = 0;
    if (out == NULL) {
        return 1; /* out of memory gives NULL, as on the UTF-16 path */
    }
    while (p < end && *p != 0) {
        uint32_t c;
        if (*p < 0x80) {
            out[length++] = (unsigned char)map(*p++);
            continue;
        }
        c = utf8_decode(&p, end, &malformed);
        length += utf8_put(out + length, c < 0x10000 ? map((uint16_t)c) : c);
    }
    while (p < end && !malformed) { /* after a zero: copied, still checked */
        const unsigned char* from = p;
        utf8_decode(&p, end, &malformed);
        memcpy(out + length, from, (size_t)(p - from));
        length += (size_t)(p - from);
    }
    if (malformed) {
        sqlite3_free(out);
        return 0;
    }
    sqlite3_result_text(context, (char*)out, (int)length, sqlite3_free);
    return 1;
}

static int unaccent_utf8(sqlite3_context* context, const unsigned char* text, size_t bytes) {
    const unsigned char* p = text;
    const unsigned char* const end = text + bytes;
    size_t capacity = 2 * bytes + 8;
    unsigned char* out = sqlite3_malloc64(capacity);
    size_t length = 0;
    int malformed = 0;
    int mapping = 1;
    if (out == NULL) {
        return 1;
    }
    while (p < end) {
        const unsigned char* from = p;
        const uint32_t c = utf8_decode(&p, end, &malformed);
        const uint16_t* values = NULL;
        int n = 1;
        int i;
        if (malformed) {
            sqlite3_free(out);
            return 0;
        }
        mapping = mapping && c != 0;
        if (!mapping || c < 0x80 || c > 0xFFFF ||
            (sqlite3_unicode_unacc((uint16_t)c, &values, &n), n == 1 && values[0] == kIdentity)) {
            memcpy(out + length, from, (size_t)(p - from));
            length += (size_t)(p - from);
            continue;
        }
        if (length + 4 * (size_t)n + 1 > capacity) {
            unsigned char* grown;
            capacity = 2 * capacity + 4 * (size_t)n;
            grown = sqlite3_realloc64(out, capacity);
            if (grown == NULL) {
                sqlite3_free(out);
                sqlite3_result_error_nomem(context);
                return 1;
            }
            out = grown;
        }
        for (i = 0; i < n; ++i) {
            uint32_t unit = values[i];
            if (unit >= 0xD800 && unit <= 0xDBFF && i + 1 < n) { /* a pair: one character */
                unit = 0x10000 + ((unit - 0xD800) << 10) + (values[++i] - 0xDC00u);
            }
            length += utf8_put(out + length, unit);
        }
    }
    sqlite3_result_text(context, (char*)out, (int)length, sqlite3_free);
    return 1;
}

/* The first argument as UTF-16 in native byte order and its length in code units, or NULL
** when it is missing, NULL, or SQLite cannot convert it (out of memory). */
static const uint16_t* text16_argument(int argc, sqlite3_value** argv, size_t* units) {
    const uint16_t* text;
    if (argc < 1 || sqlite3_value_type(argv[0]) == SQLITE_NULL) {
        return NULL;
    }
    text = sqlite3_value_text16(argv[0]);
    *units = text == NULL ? 0 : (size_t)sqlite3_value_bytes16(argv[0]) / 2;
    return text;
}

static void case_function(sqlite3_context* context, int argc, sqlite3_value** argv) {
    const case_mapping* mapping = sqlite3_user_data(context);
    size_t units;
    const uint16_t* text = text16_argument(argc, argv, &units);
    uint16_t* copy;
    size_t i;
    if (text == NULL) {
        return;
    }
    copy = sqlite3_malloc64((units + 1) * sizeof *copy);
    if (copy == NULL) {
        return;
    }
    memcpy(copy, text, units * sizeof *copy);
    copy[units] = 0;
    for (i = 0; copy[i] != 0; ++i) {
        copy[i] = mapping->map(copy[i]);
    }
    sqlite3_result_text16(context, copy, (int)(units * sizeof *copy), sqlite3_free);
}

static void unaccent_function(sqlite3_context* context, int argc, sqlite3_value** argv) {
    size_t units;
    const uint16_t* text = text16_argument(argc, argv, &units);
    size_t capacity;
    uint16_t* out;
    size_t i;
    size_t length = 0;
    if (text == NULL) {
        return;
    }
    capacity = units + 1;
    out = sqlite3_malloc64(capacity * sizeof *out);
    if (out == NULL) {
        return;
    }
    for (i = 0; i < units && text[i] != 0; ++i) {
        const uint16_t* values;
        int n;
        const uint16_t first = sqlite3_unicode_unacc(text[i], &values, &n);
        if (n <= 1) {
            out[length++] = first;
            continue;
        }
        {
            uint16_t* grown;
            capacity += (size_t)n - 1;
            grown = sqlite3_realloc64(out, capacity * sizeof *out);
            if (grown == NULL) {
                sqlite3_free(out);
                sqlite3_result_error_nomem(context);
                return;
            }
            out = grown;
        }
        memcpy(out + length, values, (size_t)n * sizeof *out);
        length += (size_t)n;
    }
    memcpy(out + length, text + i, (units - i) * sizeof *out);
    length += units - i;
    out[length] = 0;
    sqlite3_result_text16(context, out, (int)(length * sizeof *out), sqlite3_free);
}

/* The UTF-8 entries of fold, lower, upper, title and unaccent: SQLite picks them in a
 * UTF-8 database, where they skip the UTF-16 round trip for valid text. */
static void case_function_for_utf8(sqlite3_context* context, int argc, sqlite3_value** argv) {
    const case_mapping* mapping = sqlite3_user_data(context);
    const unsigned char* text;
    if (argc < 1 || sqlite3_value_type(argv[0]) == SQLITE_NULL) {
        return;
    }
    text = sqlite3_value_text(argv[0]);
    if (text == NULL) {
        return;
    }
    {
        const size_t bytes = (size_t)sqlite3_value_bytes(argv[0]);
        /* One call site per mapping, so that each loop inlines its table lookup. */
        const int done =
            mapping == &kFold    ? case_function_utf8(context, text, bytes, sqlite3_unicode_fold)
            : mapping == &kLower ? case_function_utf8(context, text, bytes, sqlite3_unicode_lower)
            : mapping == &kUpper ? case_function_utf8(context, text, bytes, sqlite3_unicode_upper)
                                 : case_function_utf8(context, text, bytes, sqlite3_unicode_title);
        if (done) {
            return;
        }
    }
    case_function(context, argc, argv);
}

static void unaccent_function_for_utf8(sqlite3_context* context, int argc, sqlite3_value** argv) {
    const unsigned char* text;
    if (argc < 1 || sqlite3_value_type(argv[0]) == SQLITE_NULL) {
        return;
    }
    text = sqlite3_value_text(argv[0]);
    if (text == NULL || unaccent_utf8(context, text, (size_t)sqlite3_value_bytes(argv[0]))) {
        return;
    }
    unaccent_function(context, argc, argv);
}

/* --- NOCASE -------------------------------------------------------------------- */

static uint16_t unit_at(const unsigned char* text, size_t i) {
    uint16_t unit;
    memcpy(&unit, text + 2 * i, sizeof unit); /* SQLite promises no alignment */
    return unit;
}

int sqlite3_unicode_collate(void* encoding, int length1, const void* text1, int length2,
                            const void* text2) {
    const unsigned char* a = text1;
    const unsigned char* b = text2;
    const int shorter = length1 < length2 ? length1 : length2;
    if ((intptr_t)encoding == SQLITE_UTF16) {
        const size_t steps = (size_t)shorter / 2;
        size_t i;
        for (i = 0; i < steps; ++i) {
            const uint16_t ua = unit_at(a, i);
            const int ra = (int)reduced(ua);
            const int rb = (int)reduced(unit_at(b, i));
            if (ra != rb) {
                return ra - rb;
            }
            if (ua == 0) {
                break;
            }
        }
    } else {
        const unsigned char* const a_end = a + length1;
        const unsigned char* const b_end = b + length2;
        const unsigned char* const a_limit = a + shorter;
        const unsigned char* const b_limit = b + shorter;
        while (a < a_limit && b < b_limit) {
            const int ra = (int)reduced(utf8_next(&a, a_end));
            const int rb = (int)reduced(utf8_next(&b, b_end));
            if (ra != rb) {
                return ra - rb;
            }
        }
    }
    return length1 - length2;
}

/* --- Registration -------------------------------------------------------------- */

typedef void (*sql_function)(sqlite3_context*, int, sqlite3_value**);

typedef struct function_row {
    const char* name;
    int arguments;
    const void* user_data;
    sql_function function;
} function_row;

static const function_row kFunctions[] = {
    {"unicode_version", 0, NULL, unicode_version_function},
    {"like", 2, &kLikeInfo, like_function},
    {"like", 3, &kLikeInfo, like_function},
    {"fold", 1, &kFold, case_function},
    {"lower", 1, &kLower, case_function},
    {"upper", 1, &kUpper, case_function},
    {"title", 1, &kTitle, case_function},
    {"unaccent", 1, NULL, unaccent_function},
};

/* Registered after the table above, replacing its UTF-8 entries only. */
static const function_row kUtf8Functions[] = {
    {"fold", 1, &kFold, case_function_for_utf8},
    {"lower", 1, &kLower, case_function_for_utf8},
    {"upper", 1, &kUpper, case_function_for_utf8},
    {"title", 1, &kTitle, case_function_for_utf8},
    {"unaccent", 1, NULL, unaccent_function_for_utf8},
};

int sqlite3_unicode_init(sqlite3* db) {
    size_t i;
    int rc;
    for (i = 0; i < sizeof kFunctions / sizeof kFunctions[0]; ++i) {
        const function_row* row = &kFunctions[i];
        rc = sqlite3_create_function(db, row->name, row->arguments, SQLITE_ANY,
                                     (void*)row->user_data, row->function, NULL, NULL);
        if (rc != SQLITE_OK) {
            return rc;
        }
    }
    for (i = 0; i < sizeof kUtf8Functions / sizeof kUtf8Functions[0]; ++i) {
        const function_row* row = &kUtf8Functions[i];
        rc = sqlite3_create_function(db, row->name, row->arguments, SQLITE_UTF8,
                                     (void*)row->user_data, row->function, NULL, NULL);
        if (rc != SQLITE_OK) {
            return rc;
        }
    }
    (void)sqlite3_create_collation(db, "NOCASE", SQLITE_UTF8, (void*)(intptr_t)SQLITE_UTF8,
                                   sqlite3_unicode_collate);
    rc = sqlite3_create_collation(db, "NOCASE", SQLITE_UTF16, (void*)(intptr_t)SQLITE_UTF16,
                                  sqlite3_unicode_collate);
    return rc;
}

/* The shape SQLite calls automatic extensions with. */
static int automatic_entry(sqlite3* db, char** error, const sqlite3_api_routines* api) {
    (void)error;
    (void)api;
    return sqlite3_unicode_init(db);
}

int sqlite3_unicode_load(void) {
    /* SQLite declares the parameter as void(*)(void) and calls it with the entry shape. */
    return sqlite3_auto_extension((void (*)(void))automatic_entry);
}

void sqlite3_unicode_free(void) {
    sqlite3_reset_auto_extension();
}

#ifdef VELMORA_SQLITE_LOADABLE
/* The module hides every other symbol, its routines table included. */
#define SQLITE3_UNICODE_ENTRY __attribute__((visibility("default")))
SQLITE3_UNICODE_ENTRY int sqlite3_extension_init(sqlite3* db, char** error,
                                                 const sqlite3_api_routines* api);
SQLITE3_UNICODE_ENTRY int sqlite3_velmorasqliteunicode_init(sqlite3* db, char** error,
                                                            const sqlite3_api_routines* api);

/* The standard entry point, and the one SQLite derives from the library's file name. */
int sqlite3_extension_init(sqlite3* db, char** error, const sqlite3_api_routines* api) {
    (void)error;
    SQLITE_EXTENSION_INIT2(api);
    return sqlite3_unicode_init(db);
}

int sqlite3_velmorasqliteunicode_init(sqlite3* db, char** error, const sqlite3_api_routines* api) {
    return sqlite3_extension_init(db, error, api);
}
#endif
