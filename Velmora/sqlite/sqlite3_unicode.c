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

#include <pthread.h>
#include <stdatomic.h>
#include <stddef.h>
#include <stdint.h>
#include <string.h>

#include "Velmora/sqlite/sqlite3_unicode.h"

/* Generated from data/ucd by tools/gen-unicode-tables into the build tree. */
#include "sqlite3_unicode_tables.inc"

enum { kIdentity = 0xFFFF, kLikePatternLimit = 50000 };

/* --- Table lookups ------------------------------------------------------------- */

static inline __attribute__((always_inline)) uint16_t fold_unit(uint16_t c) {
    const unsigned row = fold_index[c / FOLD_WIDTH];
    const uint16_t v = fold_values[row][fold_offsets[row][c % FOLD_WIDTH]];
    return v == kIdentity ? c : v;
}

uint16_t sqlite3_unicode_fold(uint16_t c) {
    return fold_unit(c);
}

/* The mappings as the loops below use them: file-local, so that the compiler may inline them
 * (an exported function of a shared library may be replaced at load time, so calls to it
 * from inside the library are never inlined). */
static inline __attribute__((always_inline)) uint16_t lower_unit(uint16_t c) {
    const unsigned row = lower_index[c / LOWER_WIDTH];
    const uint16_t v = lower_values[row][lower_offsets[row][c % LOWER_WIDTH]];
    return v == kIdentity ? c : v;
}

static inline __attribute__((always_inline)) uint16_t upper_unit(uint16_t c) {
    const unsigned row = upper_title_index[c / UPPER_TITLE_WIDTH];
    const uint16_t v = upper_values[row][upper_title_offsets[row][c % UPPER_TITLE_WIDTH]];
    return v == kIdentity ? c : v;
}

static inline __attribute__((always_inline)) uint16_t title_unit(uint16_t c) {
    const unsigned row = upper_title_index[c / UPPER_TITLE_WIDTH];
    const uint16_t v = title_values[row][upper_title_offsets[row][c % UPPER_TITLE_WIDTH]];
    return v == kIdentity ? c : v;
}

uint16_t sqlite3_unicode_lower(uint16_t c) {
    return lower_unit(c);
}

uint16_t sqlite3_unicode_upper(uint16_t c) {
    return upper_unit(c);
}

uint16_t sqlite3_unicode_title(uint16_t c) {
    return title_unit(c);
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

/* --- Flat tables for two-byte UTF-8 ---------------------------------------------- */

/* The characters below U+0800 (ASCII, Latin, Greek, Cyrillic, Hebrew, Arabic ...) are
 * the ones UTF-8 writes in one or two bytes. Their mappings are copied once into flat
 * tables, so that the UTF-8 paths look each up with one load instead of three dependent
 * ones; the tables are views of the generated ones, never a second source. */
enum { kFlatLimit = 0x800 };

typedef struct flat_tables {
    uint16_t fold[kFlatLimit];
    uint16_t lower[kFlatLimit];
    uint16_t upper[kFlatLimit];
    uint16_t title[kFlatLimit];
    uint16_t reduced[kFlatLimit];
    /* What unaccent does to the character: kKept, kFlatBytes (its unaccented form is the
     * unaccented_length[c] bytes of unaccented_bytes[c]) or kLookUp (longer than four
     * bytes: looked up in the generated tables). */
    uint8_t unaccented[kFlatLimit];
    uint8_t unaccented_length[kFlatLimit];
    unsigned char unaccented_bytes[kFlatLimit][4];
    /* 1: unaccent keeps every character of the block of the plane (CJK, Georgian ...). */
    uint8_t unaccent_keeps_block[0x10000 / UNACCENT_WIDTH];
} flat_tables;

enum { kKept = 0, kFlatBytes = 1, kLookUp = 2 };

static flat_tables flat;
static pthread_once_t flat_once = PTHREAD_ONCE_INIT;
/* Set once the tables are filled: every collation call and row checks it, and a relaxed
 * check with an acquire load is cheaper than a call into pthread_once each time. */
static atomic_int flat_filled;

static size_t utf8_put(unsigned char* out, uint32_t c);
static size_t put_units(unsigned char* out, const uint16_t* values, int n);

static void fill_flat_tables(void) {
    unsigned c;
    for (c = 0; c < kFlatLimit; ++c) {
        const uint16_t unit = (uint16_t)c;
        const uint16_t* values;
        int n;
        flat.fold[c] = fold_unit(unit);
        flat.lower[c] = lower_unit(unit);
        flat.upper[c] = upper_unit(unit);
        flat.title[c] = title_unit(unit);
        flat.reduced[c] = (uint16_t)reduced(c);
        sqlite3_unicode_unacc(unit, &values, &n);
        flat.unaccented[c] = kKept;
        if (c >= 0x80 && !(n == 1 && values[0] == kIdentity)) {
            unsigned char bytes[4 * 8];
            const size_t length = n <= 8 ? put_units(bytes, values, n) : sizeof bytes + 1;
            flat.unaccented[c] = length <= 4 ? kFlatBytes : kLookUp;
            if (length <= 4) {
                memcpy(flat.unaccented_bytes[c], bytes, length);
                flat.unaccented_length[c] = (uint8_t)length;
            }
        }
    }
    for (c = 0; c < 0x10000; c += UNACCENT_WIDTH) {
        unsigned k;
        int keeps = 1;
        for (k = c; k < c + UNACCENT_WIDTH && keeps; ++k) {
            const uint16_t* values;
            int n;
            sqlite3_unicode_unacc((uint16_t)k, &values, &n);
            keeps = n == 1 && values[0] == kIdentity;
        }
        flat.unaccent_keeps_block[c / UNACCENT_WIDTH] = (uint8_t)keeps;
    }
    atomic_store_explicit(&flat_filled, 1, memory_order_release);
}

static const flat_tables* flat_tables_ready(void) {
    if (!atomic_load_explicit(&flat_filled, memory_order_acquire)) {
        pthread_once(&flat_once, fill_flat_tables);
    }
    return &flat;
}

/* --- UTF-8 --------------------------------------------------------------------- */

/* Eight bytes at once: whether all are ASCII, and their case changed arithmetically (only
 * A-Z and a-z change case within ASCII). */
static const uint64_t kHighBits = 0x8080808080808080ull;
static const uint64_t kOnes = 0x0101010101010101ull;

static uint64_t load8(const unsigned char* p) {
    uint64_t v;
    memcpy(&v, p, sizeof v);
    return v;
}

/* 0x20 in each byte that lies in [first, first + 25], else 0. REQUIRES: all bytes < 0x80. */
static uint64_t letters_mask(uint64_t v, unsigned char first) {
    const uint64_t above = v + (0x80u - first) * kOnes;       /* high bit: byte >= first */
    const uint64_t beyond = v + (0x80u - first - 26) * kOnes; /* high bit: byte > last */
    return ((above & ~beyond) & kHighBits) >> 2;
}

/* Decodes the character at *at (REQUIRES *at < end) and moves past it. Never reads at or
 * beyond end. Malformed input (a stray continuation byte, a truncated or overlong
 * sequence, an encoded surrogate, a value beyond U+10FFFF) gives U+FFFD for the bytes
 * read so far, so every byte belongs to exactly one character, and sets *malformed. */
static inline uint32_t utf8_decode(const unsigned char** at, const unsigned char* end,
                                   int* malformed) {
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

/* Writes UTF-16 units (a surrogate pair as one character) as UTF-8; answers the bytes. */
static size_t put_units(unsigned char* out, const uint16_t* values, int n) {
    size_t length = 0;
    int i;
    for (i = 0; i < n; ++i) {
        uint32_t unit = values[i];
        if (unit >= 0xD800 && unit <= 0xDBFF && i + 1 < n) { /* a pair: one character */
            unit = 0x10000 + ((unit - 0xD800) << 10) + (values[++i] - 0xDC00u);
        }
        length += utf8_put(out + length, unit);
    }
    return length;
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

static const case_mapping kFold = {fold_unit};
static const case_mapping kLower = {lower_unit};
static const case_mapping kUpper = {upper_unit};
static const case_mapping kTitle = {title_unit};

static void unicode_version_function(sqlite3_context* context, int argc, sqlite3_value** argv) {
    (void)argc;
    (void)argv;
    sqlite3_result_text(context, SQLITE3_UNICODE_VERSION, -1, SQLITE_STATIC);
}

/* Makes room for `needed` bytes in a result that starts on the stack and moves to the heap
 * when it outgrows it. Answers 0 when memory runs out (the buffer is then released). */
static int reserve_result(unsigned char** out, size_t* capacity, const unsigned char* stack,
                          size_t length, size_t needed) {
    unsigned char* grown;
    size_t next;
    if (needed <= *capacity) {
        return 1;
    }
    next = 2 * *capacity > needed ? 2 * *capacity : needed;
    if (*out == stack) {
        grown = sqlite3_malloc64(next);
        if (grown != NULL) {
            memcpy(grown, stack, length);
        }
    } else {
        grown = sqlite3_realloc64(*out, next);
        if (grown == NULL) {
            sqlite3_free(*out);
        }
    }
    *out = grown;
    *capacity = next;
    return grown != NULL;
}

static void release_result(unsigned char* out, const unsigned char* stack) {
    if (out != stack) {
        sqlite3_free(out);
    }
}

static void set_result(sqlite3_context* context, unsigned char* out, const unsigned char* stack,
                       size_t length) {
    sqlite3_result_text(context, (char*)out, (int)length,
                        out == stack ? SQLITE_TRANSIENT : sqlite3_free);
}

/* The functions are defined on UTF-16 units, and SQLite would convert a UTF-8 text to
 * UTF-16 and the result back. For valid UTF-8 mapping each code point of the plane
 * directly gives the same text (one BMP character is one unit, and characters beyond
 * the plane are never mapped) without the two conversions, which cost more than the
 * mapping. Malformed UTF-8 answers 0 and takes the UTF-16 path, so that its
 * replacement characters are SQLite's own.
 *
 * Results up to kStackResult bytes are built on the stack and copied by SQLite into the
 * row's own memory (its lookaside for short texts), which costs less than a heap block
 * per row; longer ones are built in a heap block that SQLite takes over. */
enum { kStackResult = 1024 };

static inline __attribute__((always_inline)) int case_function_utf8(
    sqlite3_context* context, const unsigned char* text, size_t bytes, uint16_t (*map)(uint16_t),
    const uint16_t* flat_map, int to_upper) {
    const unsigned char* p = text;
    const unsigned char* const end = text + bytes;
    unsigned char stack[kStackResult];
    unsigned char* out = stack;
    const size_t needed = 3 * bytes + 1; /* a unit grows by 2 bytes at most */
    size_t length = 0;
    int malformed = 0;
    if (needed > sizeof stack) {
        out = sqlite3_malloc64(needed);
        if (out == NULL) {
            sqlite3_result_error_nomem(context);
            return 1;
        }
    }
    while (p < end) {
        const unsigned char* run;
        uint32_t c;
        if (end - p >= 8) {
            const uint64_t v = load8(p);
            /* A flag in each byte that is not ASCII or is zero; the lowest flag is exact
             * (the zero test's borrow only reaches the bytes after a zero). */
            const uint64_t stops = (v & kHighBits) | ((v - kOnes) & ~v & kHighBits);
            const unsigned ascii = stops == 0 ? 8u : (unsigned)__builtin_ctzll(stops) / 8u;
            if (ascii > 0) {
                /* The case of all eight bytes changed arithmetically, the bytes before the
                 * first stop kept. The buffer holds 3 bytes for each byte still unread, so
                 * there is room for all eight. */
                const uint64_t plain = v & ~kHighBits;
                const uint64_t mapped =
                    to_upper ? plain ^ letters_mask(plain, 'a') : plain | letters_mask(plain, 'A');
                memcpy(out + length, &mapped, sizeof mapped);
                length += ascii;
                p += ascii;
                continue;
            }
        }
        if (*p == 0) {
            break;
        }
        if (*p < 0x80) {
            out[length++] = (unsigned char)flat_map[*p++];
            continue;
        }
        run = p;
        /* Runs of two-byte characters (Latin, Greek, Cyrillic ...) without returning to the
         * ASCII test between them. The lead C2..DF with a continuation byte is always well
         * formed. */
        while (end - p >= 2 && *p >= 0xC2 && *p <= 0xDF && (p[1] & 0xC0u) == 0x80u) {
            c = flat_map[((p[0] & 0x1Fu) << 6) | (p[1] & 0x3Fu)];
            p += 2;
            if (c >= 0x80 && c < 0x800) {
                out[length] = (unsigned char)(0xC0 | (c >> 6));
                out[length + 1] = (unsigned char)(0x80 | (c & 0x3F));
                length += 2;
            } else {
                length += utf8_put(out + length, c);
            }
        }
        /* Likewise runs of three-byte characters (the rest of the plane: CJK, Georgian ...),
         * well formed unless overlong or a surrogate. */
        while (end - p >= 3 && *p >= 0xE0 && *p <= 0xEF && (p[1] & 0xC0u) == 0x80u &&
               (p[2] & 0xC0u) == 0x80u) {
            c = ((p[0] & 0x0Fu) << 12) | ((p[1] & 0x3Fu) << 6) | (p[2] & 0x3Fu);
            if (c < 0x800 || (c >= 0xD800 && c <= 0xDFFF)) {
                break;
            }
            p += 3;
            length += utf8_put(out + length, map((uint16_t)c));
        }
        if (p != run) {
            continue;
        }
        /* Anything else (four bytes, or malformed) goes through the full decoder. */
        c = utf8_decode(&p, end, &malformed);
        if (c < kFlatLimit) {
            c = flat_map[c];
        } else if (c < 0x10000) {
            c = map((uint16_t)c);
        }
        length += utf8_put(out + length, c);
    }
    while (p < end && !malformed) { /* after a zero: copied, still checked */
        const unsigned char* from = p;
        utf8_decode(&p, end, &malformed);
        memcpy(out + length, from, (size_t)(p - from));
        length += (size_t)(p - from);
    }
    if (malformed) {
        release_result(out, stack);
        return 0;
    }
    set_result(context, out, stack, length);
    return 1;
}

static int unaccent_utf8(sqlite3_context* context, const unsigned char* text, size_t bytes) {
    const flat_tables* t = flat_tables_ready();
    const unsigned char* p = text;
    const unsigned char* const end = text + bytes;
    unsigned char stack[kStackResult];
    unsigned char* out = stack;
    size_t capacity = sizeof stack;
    size_t length = 0;
    int malformed = 0;
    int mapping = 1;
    while (p < end) {
        const unsigned char* from = p;
        const uint16_t* values = NULL;
        uint32_t c;
        int n = 1;
        if (end - p >= 8) {
            /* The non-zero ASCII bytes before the first other one: unaccent keeps them. (The
             * zero test's lowest flagged byte is exact; only bytes above a zero can be
             * flagged wrongly.) */
            const uint64_t v = load8(p);
            const uint64_t stops = (v & kHighBits) | ((v - kOnes) & ~v & kHighBits);
            const size_t kept = stops == 0 ? 8 : (size_t)__builtin_ctzll(stops) / 8;
            if (kept > 0) {
                if (!reserve_result(&out, &capacity, stack, length, length + 8)) {
                    sqlite3_result_error_nomem(context);
                    return 1;
                }
                memcpy(out + length, p, 8);
                length += kept;
                p += kept;
                continue;
            }
        }
        if (mapping && end - p >= 2 && p[0] >= 0xC2 && p[0] <= 0xDF && (p[1] & 0xC0) == 0x80) {
            /* A well-formed two-byte character: its result is in the flat tables. */
            c = ((uint32_t)(p[0] & 0x1F) << 6) | (p[1] & 0x3Fu);
            if (t->unaccented[c] != kLookUp) {
                if (!reserve_result(&out, &capacity, stack, length, length + 4)) {
                    sqlite3_result_error_nomem(context);
                    return 1;
                }
                if (t->unaccented[c] == kKept) {
                    memcpy(out + length, p, 2);
                    length += 2;
                } else {
                    memcpy(out + length, t->unaccented_bytes[c], 4);
                    length += t->unaccented_length[c];
                }
                p += 2;
                continue;
            }
        }
        c = utf8_decode(&p, end, &malformed);
        if (malformed) {
            release_result(out, stack);
            return 0;
        }
        mapping = mapping && c != 0;
        if (mapping && c >= 0x80 && c <= 0xFFFF &&
            (c >= kFlatLimit ? !t->unaccent_keeps_block[c / UNACCENT_WIDTH] : t->unaccented[c])) {
            sqlite3_unicode_unacc((uint16_t)c, &values, &n);
        }
        if (values == NULL || (n == 1 && values[0] == kIdentity)) {
            if (!reserve_result(&out, &capacity, stack, length, length + (size_t)(p - from))) {
                sqlite3_result_error_nomem(context);
                return 1;
            }
            memcpy(out + length, from, (size_t)(p - from));
            length += (size_t)(p - from);
            continue;
        }
        if (!reserve_result(&out, &capacity, stack, length, length + 4 * (size_t)n)) {
            sqlite3_result_error_nomem(context);
            return 1;
        }
        length += put_units(out + length, values, n);
    }
    set_result(context, out, stack, length);
    return 1;
}

/* Whether a failed text conversion of a non-NULL argument means memory ran out: every
 * value but an empty blob needs memory to become text. */
static int conversion_failed(sqlite3_value* value) {
    return sqlite3_value_type(value) != SQLITE_BLOB || sqlite3_value_bytes(value) != 0;
}

/* The first argument as UTF-16 in native byte order and its length in code units, or NULL
** when it is missing or NULL, or when SQLite cannot convert it (out of memory, which is
** then reported as the result). */
static const uint16_t* text16_argument(sqlite3_context* context, int argc, sqlite3_value** argv,
                                       size_t* units) {
    const uint16_t* text;
    if (argc < 1 || sqlite3_value_type(argv[0]) == SQLITE_NULL) {
        return NULL;
    }
    text = sqlite3_value_text16(argv[0]);
    if (text == NULL) {
        if (conversion_failed(argv[0])) {
            sqlite3_result_error_nomem(context);
        }
        return NULL;
    }
    *units = (size_t)sqlite3_value_bytes16(argv[0]) / 2;
    return text;
}

/* The first argument as UTF-8, or NULL as for text16_argument. */
static const unsigned char* text8_argument(sqlite3_context* context, int argc,
                                           sqlite3_value** argv) {
    const unsigned char* text;
    if (argc < 1 || sqlite3_value_type(argv[0]) == SQLITE_NULL) {
        return NULL;
    }
    text = sqlite3_value_text(argv[0]);
    if (text == NULL && conversion_failed(argv[0])) {
        sqlite3_result_error_nomem(context);
    }
    return text;
}

static void case_function(sqlite3_context* context, int argc, sqlite3_value** argv) {
    const case_mapping* mapping = sqlite3_user_data(context);
    size_t units;
    const uint16_t* text = text16_argument(context, argc, argv, &units);
    uint16_t* copy;
    size_t i;
    if (text == NULL) {
        return;
    }
    copy = sqlite3_malloc64((units + 1) * sizeof *copy);
    if (copy == NULL) {
        sqlite3_result_error_nomem(context);
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
    const uint16_t* text = text16_argument(context, argc, argv, &units);
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
        sqlite3_result_error_nomem(context);
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

/* The UTF-8 entries of fold, lower, upper and title: SQLite picks them in a UTF-8
 * database, where they skip the UTF-16 round trip for valid text. One entry per mapping,
 * so that each loop inlines its own table lookup and a row pays no dispatch on the user
 * data. The flat tables are filled by sqlite3_unicode_init before any of these can be
 * registered, so the rows do not ask for them again. */
static inline __attribute__((always_inline)) void case_function_for_utf8(
    sqlite3_context* context, int argc, sqlite3_value** argv, uint16_t (*map)(uint16_t),
    const uint16_t* flat_map, int to_upper) {
    const unsigned char* text = argc < 1 ? NULL : sqlite3_value_text(argv[0]);
    if (text == NULL) {
        /* NULL, or a conversion that failed: text8_argument tells which. */
        if (argc >= 1 && sqlite3_value_type(argv[0]) != SQLITE_NULL) {
            (void)text8_argument(context, argc, argv);
        }
        return;
    }
    if (case_function_utf8(context, text, (size_t)sqlite3_value_bytes(argv[0]), map, flat_map,
                           to_upper)) {
        return;
    }
    case_function(context, argc, argv);
}

static void fold_function_for_utf8(sqlite3_context* context, int argc, sqlite3_value** argv) {
    case_function_for_utf8(context, argc, argv, fold_unit, flat.fold, 0);
}

static void lower_function_for_utf8(sqlite3_context* context, int argc, sqlite3_value** argv) {
    case_function_for_utf8(context, argc, argv, lower_unit, flat.lower, 0);
}

static void upper_function_for_utf8(sqlite3_context* context, int argc, sqlite3_value** argv) {
    case_function_for_utf8(context, argc, argv, upper_unit, flat.upper, 1);
}

static void title_function_for_utf8(sqlite3_context* context, int argc, sqlite3_value** argv) {
    case_function_for_utf8(context, argc, argv, title_unit, flat.title, 1);
}

static void unaccent_function_for_utf8(sqlite3_context* context, int argc, sqlite3_value** argv) {
    const unsigned char* text = text8_argument(context, argc, argv);
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

/* What NOCASE compares, by table for the characters below U+0800. */
static int reduced_fast(const flat_tables* t, uint32_t c) {
    if (c < kFlatLimit) {
        return t->reduced[c];
    }
    /* CJK, Georgian and the other blocks unaccent leaves alone: only the fold remains. */
    if (c <= 0xFFFF && t->unaccent_keeps_block[c / UNACCENT_WIDTH]) {
        return fold_unit((uint16_t)c);
    }
    return (int)reduced(c);
}

/* Identical bytes decode to identical characters, so the UTF-8 comparison skips the
 * common prefix and resumes at the start of the character holding its last byte (found by
 * stepping back over continuation bytes: a lead byte always starts a character). From
 * there it compares character by character as the definition says, ASCII pairs without
 * decoding. */
static int collate_utf8(const flat_tables* t, const unsigned char* a, int length1,
                        const unsigned char* b, int length2) {
    const size_t shorter = (size_t)(length1 < length2 ? length1 : length2);
    const unsigned char* const a_end = a + length1;
    const unsigned char* const b_end = b + length2;
    size_t same = 0;
    for (;;) {
        if (same + 8 <= shorter) {
            const uint64_t differing = load8(a + same) ^ load8(b + same);
            if (differing == 0) {
                same += 8;
                continue;
            }
            same += (size_t)__builtin_ctzll(differing) / 8;
        } else {
            while (same < shorter && a[same] == b[same]) {
                ++same;
            }
        }
        break;
    }
    /* Both first differing bytes ASCII: each starts a character after identical ones, and
     * most pairs a sort compares are decided right there. */
    if (same < shorter && a[same] < 0x80 && b[same] < 0x80) {
        const int ra = t->reduced[a[same]];
        const int rb = t->reduced[b[same]];
        if (ra != rb) {
            return ra - rb;
        }
    }
    if (same > 0) {
        size_t start = same - 1;
        while (start > 0 && (a[start] & 0xC0u) == 0x80u) {
            --start;
        }
        a += start;
        b += start;
    }
    {
        const unsigned char* const a_limit = a_end - length1 + shorter;
        const unsigned char* const b_limit = b_end - length2 + shorter;
        while (a < a_limit && b < b_limit) {
            int ra;
            int rb;
            if (*a < 0x80 && *b < 0x80) {
                ra = t->reduced[*a++];
                rb = t->reduced[*b++];
            } else {
                ra = reduced_fast(t, utf8_next(&a, a_end));
                rb = reduced_fast(t, utf8_next(&b, b_end));
            }
            if (ra != rb) {
                return ra - rb;
            }
        }
    }
    return length1 - length2;
}

int sqlite3_unicode_collate(void* encoding, int length1, const void* text1, int length2,
                            const void* text2) {
    const flat_tables* t = flat_tables_ready();
    const unsigned char* a = text1;
    const unsigned char* b = text2;
    if ((intptr_t)encoding == SQLITE_UTF16) {
        const size_t steps = (size_t)(length1 < length2 ? length1 : length2) / 2;
        size_t i;
        for (i = 0; i < steps; ++i) {
            const uint16_t ua = unit_at(a, i);
            const int ra = reduced_fast(t, ua);
            const int rb = reduced_fast(t, unit_at(b, i));
            if (ra != rb) {
                return ra - rb;
            }
            if (ua == 0) {
                break;
            }
        }
        return length1 - length2;
    }
    return collate_utf8(t, a, length1, b, length2);
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
    {"fold", 1, &kFold, fold_function_for_utf8},
    {"lower", 1, &kLower, lower_function_for_utf8},
    {"upper", 1, &kUpper, upper_function_for_utf8},
    {"title", 1, &kTitle, title_function_for_utf8},
    {"unaccent", 1, NULL, unaccent_function_for_utf8},
};

int sqlite3_unicode_init(sqlite3* db) {
    size_t i;
    int rc;
    flat_tables_ready();
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
    rc = sqlite3_create_collation(db, "NOCASE", SQLITE_UTF8, (void*)(intptr_t)SQLITE_UTF8,
                                  sqlite3_unicode_collate);
    if (rc != SQLITE_OK) {
        return rc;
    }
    return sqlite3_create_collation(db, "NOCASE", SQLITE_UTF16, (void*)(intptr_t)SQLITE_UTF16,
                                    sqlite3_unicode_collate);
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
