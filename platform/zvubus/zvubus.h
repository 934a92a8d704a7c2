/*
 * libzvubus: the gateway's bus helper. It puts a process's bus objects on
 * one of three places, chosen before the first registration:
 *
 * - Its own connection (the default where the gateway's libubus is linked):
 *   libzvubus connects to the daemon's socket (zvUbusSetSocket; libubus's
 *   default socket otherwise) and reads it on a thread of its own. When the
 *   daemon goes away that thread connects again, at once and then once a
 *   second, and libubus registers the objects anew on the new connection.
 *
 * - The host's connection (zvUbusSetContext): a host that runs uloop (or
 *   polls its socket and calls ubus_handle_event) hands over its context and
 *   the objects are added to it. The host owns that connection: it
 *   dispatches it and reconnects it (ubus_auto_connect, or ubus_reconnect on
 *   connection loss, both of which register the objects again).
 *
 * - The in-process registry (zvUbusUseInProcess; the default where the
 *   bundled libubox/libubus subset is linked, which reaches no daemon): the
 *   objects stay in this process, and zvUbusInvoke calls a method the way
 *   the bus dispatcher would. A program that needs no bus at all (a command
 *   line tool, a test) chooses this so that it runs with no daemon.
 *
 * Which thread runs a method handler (the "get" handler of libzvsdp's codec
 * object, say):
 * - own connection: libzvubus's dispatch thread, holding the dispatch lock;
 * - host's connection: the host's thread that dispatches the context;
 * - in-process: the thread calling zvUbusInvoke, holding the dispatch lock.
 * Data a handler reads (libzvsdp's codec table) may therefore be changed
 * between zvUbusLockDispatch and zvUbusUnlockDispatch (own connection,
 * in-process), or on the host's dispatching thread (host's connection).
 *
 * Calls into libubus on a connection are made on the calling thread: in the
 * host's case zvUbusAddObject (so zvSdpAppInit) belongs on the thread that
 * dispatches the host's context, or to a time it dispatches nothing. SIGPIPE
 * from a dead daemon socket is kept from the process on every call made
 * here and on the dispatch thread, which also keeps every other signal
 * blocked.
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

struct ubus_context;
struct ubus_object;

/* ---- where objects go (before the first registration) --------------------
 * Each returns 0, or UBUS_STATUS_INVALID_COMMAND once an object is
 * registered or the own connection is open (the choice then holds for the
 * life of the process); choosing what is already chosen returns 0. */

/* Own connection to the daemon's socket at `path` (NULL: libubus's default).
 * UBUS_STATUS_INVALID_ARGUMENT for a path longer than a socket path can be. */
ZVUBUS_API int zvUbusSetSocket(const char *path);

/* The host's connection `ctx` (not NULL: zvUbusSetSocket goes back to an own
 * connection). The context must outlive every registered object. */
ZVUBUS_API int zvUbusSetContext(struct ubus_context *ctx);

/* The in-process registry. */
ZVUBUS_API int zvUbusUseInProcess(void);

/* 1 when objects go to the in-process registry, else 0. */
ZVUBUS_API int zvUbusIsLocal(void);

/* 1 when the linked libubus reaches a bus daemon (the gateway's), 0 for the
 * bundled subset. */
ZVUBUS_API int zvUbusHasDaemon(void);

/* ---- registration and dispatch -------------------------------------------- */

/* Registers `obj` (name, type and methods filled in) and sets its id. 0 when
 * the object is registered when the call returns: newly, or already (asked
 * of the daemon, for an object that has an id). Otherwise a nonzero bus
 * status (UBUS_STATUS_*), and never 0 for an object the daemon does not hold
 * for this process: no daemon, a connection lost and not yet back, a name
 * another process holds. The object record must stay valid for the life of
 * the process. */
ZVUBUS_API int zvUbusAddObject(struct ubus_object *obj);

/* Holds off every method handler that libzvubus runs (own connection,
 * in-process) until the matching unlock; the same thread may lock again. A
 * handler that is running is waited for. */
ZVUBUS_API void zvUbusLockDispatch(void);
ZVUBUS_API void zvUbusUnlockDispatch(void);

/* ---- calls ----------------------------------------------------------------- */

/* The object of that name in the in-process registry, or NULL (always NULL
 * for the other two places). */
ZVUBUS_API struct ubus_object *zvUbusLookupObject(const char *name);

/* Calls `method` of the in-process object `object` with `request`, the
 * bytes of a whole request blob (header included; NULL and 0 for an empty
 * one), on the calling thread, and reads the reply back from the socket the
 * handler sends it on. Returns the handler's status, or
 * UBUS_STATUS_NOT_FOUND, UBUS_STATUS_METHOD_NOT_FOUND,
 * UBUS_STATUS_INVALID_ARGUMENT (damaged request), UBUS_STATUS_UNKNOWN_ERROR
 * (no socket or memory), UBUS_STATUS_NOT_SUPPORTED (objects are not kept in
 * process: call them over the bus with zvUbusCall). The last reply the
 * handler sent comes back in *reply as one blob whose members are the
 * reply's (malloc'd, free with zvUbusFree) and its length in *replyLen; NULL
 * and 0 when it sent none. Either pointer may be NULL to drop the reply. */
ZVUBUS_API int zvUbusInvoke(const char *object, const char *method, const void *request, size_t requestLen,
                            void **reply, size_t *replyLen);

/* A bus client's call: connects to the daemon at `socketPath` (NULL: the
 * default socket), looks `object` up, calls `method` with `request` (as for
 * zvUbusInvoke) and waits up to `timeoutMs` (0: no limit) for the answer,
 * which comes back as from zvUbusInvoke. Returns the call's status, or the
 * connection's or the lookup's failure (UBUS_STATUS_CONNECTION_FAILED when
 * no daemon answers, UBUS_STATUS_NOT_FOUND for an unknown object). It holds
 * the dispatch lock throughout (libubus shares one message buffer between
 * all connections of a process), so it cannot reach an object this process
 * serves on its own connection: that call times out. */
ZVUBUS_API int zvUbusCall(const char *socketPath, const char *object, const char *method, const void *request,
                          size_t requestLen, int timeoutMs, void **reply, size_t *replyLen);

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
