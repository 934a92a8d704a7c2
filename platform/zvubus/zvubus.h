/*
 * libzvubus: the gateway's bus helper. Objects are registered on the
 * process's one bus connection, which this library opens on first use and
 * dispatches on a thread of its own.
 *
 * Where the gateway's libubus is not installed there is no bus daemon to
 * talk to: objects are then kept in an in-process registry, and
 * zvUbusInvoke calls a method the way the bus dispatcher would, handing back
 * the reply's bytes exactly as a bus client would receive them.
 */
#ifndef ZVUBUS_H
#define ZVUBUS_H

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

#if defined(__GNUC__)
#define ZVUBUS_API __attribute__((visibility("default")))
#else
#define ZVUBUS_API
#endif

struct ubus_object;

/* Registers `obj` (name, type and methods filled in; id empty) on the bus
 * connection and sets its id. 0 on success, and also for an object that is
 * already registered; otherwise a nonzero bus status (UBUS_STATUS_*). */
ZVUBUS_API int zvUbusAddObject(struct ubus_object *obj);

/* 1 when objects live in the in-process registry (no bus daemon), else 0. */
ZVUBUS_API int zvUbusIsLocal(void);

/* The registered object of that name, or NULL (always NULL on a real bus). */
ZVUBUS_API struct ubus_object *zvUbusLookupObject(const char *name);

/* Calls `method` of the registered object `object` with `request`, the
 * bytes of a whole request blob (header included; NULL and 0 for an empty
 * one). Returns the handler's status, or UBUS_STATUS_NOT_FOUND,
 * UBUS_STATUS_METHOD_NOT_FOUND, UBUS_STATUS_INVALID_ARGUMENT (damaged
 * request), UBUS_STATUS_NOT_SUPPORTED (a real bus: call it with a bus client
 * instead). The last reply the handler sent comes back in *reply (malloc'd,
 * free with zvUbusFree) and its length in *replyLen; NULL and 0 when it sent
 * none. Either pointer may be NULL to drop the reply. */
ZVUBUS_API int zvUbusInvoke(const char *object, const char *method, const void *request, size_t requestLen,
                            void **reply, size_t *replyLen);

/* The reply blob `msg` (`len` bytes, header included) as JSON text, members
 * in order and repeated names kept, as a bus client prints a reply: with
 * `indent` one member a line, indented by tabs; without, on one line. NULL
 * when the blob is damaged or no memory can be had; free with zvUbusFree. */
ZVUBUS_API char *zvUbusFormatJson(const void *msg, size_t len, int indent);

ZVUBUS_API void zvUbusFree(void *p);

/* Test hook: the next zvUbusAddObject registers nothing and returns
 * `status` (0 cancels a pending failure). */
ZVUBUS_API void zvUbusFailNextAdd(int status);

#ifdef __cplusplus
}
#endif

#endif
