/*
 * libmemmanager: typed fixed-size object pools.
 *
 * A pool hands out zero-filled records of one size. Every record carries a
 * hidden header naming its pool, so memm_free() takes a record of any pool
 * and the instance checks can tell records of different pools apart.
 *
 * A pool starts with room for `count` records allocated in one block. While
 * expansion is allowed it grows when full by a further block of `count`
 * records (at least 16) or half its capacity, whichever is larger; after
 * memm_disallow_expansion() a full pool makes memm_alloc() return NULL.
 * Freed records are kept for reuse; a pool's storage is never given back.
 * The manager places any pointer by address alone, so the calls that take a
 * record never read memory that is not one of its records.
 *
 * Every call is thread-safe. Release hooks run without any pool lock held,
 * so a hook may free records of any pool, its own included. Each thread
 * keeps a few freed records of each pool for its next allocations; they
 * count as free, and a pool that has no other free record left hands them
 * to any thread before it fails (or grows), so a pool of n records gives
 * exactly n whatever the number of threads. A thread's first call may
 * allocate memory for that thread; when the thread ends, its records go
 * back to the pools and that memory to the next new thread.
 */
#ifndef MEMM_H
#define MEMM_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#define MEMM_POOL_NONE (-1)
/* Maximum number of pools in one process. */
#define MEMM_MAX_POOLS 64

/* The pool manager's release function, handed to release hooks: frees any
 * record it is given (dynamic strings and lists are records too); NULL is
 * ignored. It is memm_free. */
typedef void (*memm_release_fn)(void *record);

/* Called by memm_free before the record goes back to its pool. It must let go
 * of what the record owns (usually by handing each owned handle to
 * `release`). Its result is ignored. */
typedef int (*memm_release_hook)(void *record, memm_release_fn release);

/* Creates a pool of `count` records of `size` bytes (count and size above 0).
 * `flags` is reserved (pass 0). `hook` may be NULL. The name is copied (at
 * most 31 characters are kept). Returns the pool handle, or MEMM_POOL_NONE
 * when the pool table is full, an argument is 0 or memory is short. */
int memm_initpool3(const char *name, uint32_t count, uint32_t size, uint32_t flags,
                   memm_release_hook hook);

/* Closes the pool to growth. 0, or -1 for an unknown pool. */
int memm_disallow_expansion(int pool);

/* A zero-filled record, or NULL when the pool is full and closed (or the
 * handle is unknown). */
void *memm_alloc(int pool);

/* Runs the pool's release hook, then returns the record to its pool. NULL,
 * a pointer that is no live record (foreign memory included), a second free
 * of the same record and a free from inside that record's own hook are
 * ignored. */
void memm_free(void *record);

/* The live record of the pool with the lowest address in the pool's first
 * block onwards, or NULL when none is in use. */
void *memm_getfirst(int pool);

/* Fills the three counts: records in use, records free without growing,
 * records the pool holds in all, as of one moment even while other threads
 * allocate and free. 0, or -1 for an unknown pool (counts untouched). Any
 * output pointer may be NULL. */
int memm_get_stats(int pool, uint32_t *in_use, uint32_t *available, uint32_t *capacity);

/* 1 when `record` is a live record of `pool` (its address is a record slot
 * of that pool and the record is allocated), else 0. */
int memm_isvalidobjfrompool(int pool, const void *record);

/* 1 when `record` is a record that carries `pool` as its pool (live or not,
 * but a record this manager handed out), else 0. */
int memm_instanceof(int pool, const void *record);

/* The pool's name, or NULL for an unknown pool. */
const char *memm_poolname(int pool);

#ifdef __cplusplus
}
#endif

#endif
