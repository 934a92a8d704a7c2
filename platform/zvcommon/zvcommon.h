/*
 * libzvcommon: dynamic strings, linked lists, the process-wide pools they
 * come from, and the texts of result codes.
 *
 * Dynamic strings and lists are records of libmemmanager pools, so the pool
 * manager's release function (memm_free) frees either kind of handle.
 * Their storage is pooled and reused: a steady state of creating and
 * releasing strings and lists does not call malloc.
 *
 * Strings and lists are not locked: whoever owns one serialises its use.
 * Creating and releasing them is thread-safe.
 */
#ifndef ZVCOMMON_H
#define ZVCOMMON_H

#include <stdarg.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#pragma GCC visibility push(default)

/* ---- result-code texts and global pools --------------------------------- */

/* A readable text for every result code; any other code gets a generic text
 * naming its number (kept per thread until that thread's next call). Never
 * NULL. */
const char *zvPbxGetErrorString(uint32_t code);

/* The process-wide dynamic-string pool: 0 and the handle in *pool, 2 when the
 * pool cannot be created, 5 for a NULL pointer. The pool is created on the
 * first call and lives as long as the process. */
uint32_t zvPbxCommonGetGlobalDynstrPool(int *pool);

/* The process-wide linked-list pool, as zvPbxCommonGetGlobalDynstrPool. */
uint32_t zvPbxCommonGetGlobalLinkedListPool(int *pool);

/* ---- dynamic strings ----------------------------------------------------- */

/* A handle to a NUL-terminated text of at most DYNSTR_MAX_LEN characters.
 * Longer texts are cut there. NULL is "no string": every reader accepts it. */
typedef struct dynstr_s *dynstr_t;

#define DYNSTR_MAX_LEN 65535u

/* New strings from `pool` (it must be the global dynamic-string pool;
 * another handle gives NULL). NULL when memory is short. */
dynstr_t dynstr_fromstr(int pool, const char *text);          /* NULL text: "" */
dynstr_t dynstr_fromstrn(int pool, const char *text, uint32_t count); /* at most count chars */
dynstr_t dynstr_fromuint32(int pool, uint32_t value);          /* unsigned decimal */
dynstr_t dynstr_fromprintf(int pool, const char *format, ...) __attribute__((format(printf, 2, 3)));
dynstr_t dynstr_dup(int pool, dynstr_t source);                /* NULL source: NULL */

/* Gives the string back to its pool; NULL is ignored. Same as memm_free. */
void dynstr_release(dynstr_t s);

/* Replace or extend the content. 0, or -1 when s is NULL or memory is short
 * (the old content is then kept). Text and format arguments may point into
 * s's own text. */
int dynstr_assign(dynstr_t s, const char *text);
int dynstr_printf(dynstr_t s, const char *format, ...) __attribute__((format(printf, 2, 3)));
int dynstr_append(dynstr_t s, const char *text);
int dynstr_appendf(dynstr_t s, const char *format, ...) __attribute__((format(printf, 2, 3)));
int dynstr_vappendf(dynstr_t s, const char *format, va_list ap);

/* The text (valid until the string changes or is released), or NULL for a
 * NULL string. */
const char *dynstr_cstr(dynstr_t s);
uint32_t dynstr_len(dynstr_t s); /* 0 for NULL */

/* 1 when p is a live dynamic string, else 0. */
int dynstr_isdynstring(const void *p);

/* Comparisons with strcmp's sign. An absent string (NULL) equals another
 * absent one and sorts before every present one, the empty one included.
 * The `i` forms ignore ASCII case; the `2` forms compare with a C text. */
int dynstr_strcmp(dynstr_t a, dynstr_t b);
int dynstr_strcmpi(dynstr_t a, dynstr_t b);
int dynstr_strcmp2(dynstr_t a, const char *b);
int dynstr_strcmpi2(dynstr_t a, const char *b);

/* Copies at most `count` characters of src into buf and always writes a
 * terminating NUL after them: up to count + 1 bytes. A NULL src copies "".
 * Returns buf. */
char *dynstr_strncpy(char *buf, dynstr_t src, uint32_t count);

/* Decimal conversion of the whole text: optional leading blanks (space or
 * tab), an optional sign, one or more digits, optional trailing blanks or
 * line-end characters; nothing else. 0 and the value in *out, or -1 (out
 * untouched) for NULL, an empty text, any other character or a value out of
 * range. */
int dynstr_getint32(dynstr_t s, int32_t *out);
int dynstr_getlong(dynstr_t s, long *out);

/* A plain copy of the text, owned by the caller and given back with
 * dynstr_strfree (it comes from the string pool, not from malloc). NULL for
 * a NULL string or when memory is short. dynstr_strfree ignores NULL and
 * anything that is not such a copy, the text of a live string included. */
char *dynstr_strdup(dynstr_t s);
void dynstr_strfree(char *copy);

/* ---- linked lists --------------------------------------------------------- */

/* An ordered list of object pointers: one record of the list pool holds up
 * to 8 objects, and a longer list takes a further record per 8. Releasing a
 * list (llist_release or the pool manager's release function) frees every
 * object still in it with memm_free, in list order, so the objects must be
 * pool records. The calls below treat a handle that is no list like NULL. */
typedef struct llist_s *llist_t;

/* comparison for llist_sort_ex: negative, 0 or positive as a sorts before,
 * with or after b; `arg` is the context given to the sort. */
typedef int (*llist_compare_fn)(const void *a, const void *b, void *arg);

/* A new empty list from `pool` (the global list pool), or NULL. */
llist_t llist_create(int pool);

/* Appends object (not NULL) to *list, creating the list from `pool` when
 * *list is NULL. 0, or -1 (nothing changed), also when the object is in the
 * list already: a list holds each object once, so walks with llist_getnext
 * end. */
int llist_addobject(llist_t *list, void *object, int pool);

/* The object after `after`; the first one when `after` is NULL; NULL at the
 * end, for a NULL or empty list, or when `after` is not in the list. */
void *llist_getnext(llist_t list, const void *after);

/* 1 when object is in the list. */
int llist_contains(llist_t list, const void *object);

/* Unlinks the first node holding object without freeing the object.
 * 0, or -1 when it is not in the list. */
int llist_removeobject(llist_t list, const void *object);

uint32_t llist_count(llist_t list);

/* Frees the list and every object in it; NULL is ignored. */
void llist_release(llist_t list);

/* Stable sort of the list in place by `compare`, which gets `arg` as its
 * context. 0; -1 when compare is NULL. A NULL list is sorted already. */
int llist_sort_ex(llist_t list, void *arg, llist_compare_fn compare);

#pragma GCC visibility pop

#ifdef __cplusplus
}
#endif

#endif
