// Records of the four pooled classes and the machinery their modules share:
// pool, lock, trace level, string and list pools.
#pragma once

#include <stdint.h>
#include <string.h>

#include "class_mutex.h"
#include "log.h"
#include "memm.h"
#include "zvcommon.h"
#include "zvsdp.h"

// The records are the opaque handles of the exported header, so they live
// in the global namespace. Field order is the record layout callers rely on.
struct CSdp {
    uint32_t rights;
    llist_t media;
};

struct CMedia {
    uint32_t rights;
    uint32_t supported;
    uint32_t port;
    uint32_t transport;
    uint32_t mediaType;
    llist_t payloads;
    llist_t attributes;
    uint32_t inbandDtmf;
};

struct CPayload {
    uint32_t rights;
    uint32_t payloadType;
    uint32_t channels;
    uint32_t clockRate;
    dynstr_t name;
    dynstr_t fmtp;
    uint32_t rtpmapEnabled;
    uint32_t ptime;
};

struct CAttribute {
    uint32_t rights;
    dynstr_t name;
    dynstr_t value;
};

namespace zv {

// The steps of a class module's start, for the messages of failed ones.
enum class StartStep { kLock, kStringPool, kListPool, kObjectPool };

// How a class module starts. The steps run in one order for every class:
// the class's own recursive lock (not CSdp's, which is static), the string
// pool, then the object pool; CMedia fetches the list pool before its object
// pool and CSdp after it, and the others need none. `failed` logs what the
// class says about a failed step (the start cleans up after it).
struct ClassStart {
    enum ListPool { kNoListPool, kListPoolFirst, kListPoolLast };
    const char *poolName;
    uint32_t recordSize;
    memm_release_hook hook;
    ListPool listPool;
    void (*failed)(StartStep step, uint32_t count);
};

// State of one class module. Everything is zero at load except the handles.
struct ClassModule {
    Module log;
    bool recursive;        // CMedia, CPayload, CAttribute: a recursive lock made by a start
    bool logsLockErrors;   // CSdp's static lock reports nothing
    bool lockReady;        // the recursive lock has been made by a start
    uint32_t initialised;
    int pool;
    int dynstrPool;
    int listPool;
    // Apart from the fields above, which every operation reads: the lock's
    // lines change hands between threads, these lines need not.
    alignas(64) ClassMutex lock;

    void acquire()
    {
        int rc = lock.lock();
        if (rc != 0)
            lockFailed(false, rc);
    }
    void release()
    {
        int rc = lock.unlock();
        if (rc != 0)
            lockFailed(true, rc);
    }
    // Logs a failed lock or unlock with the system's text, where the class
    // reports them; the operation goes on regardless.
    void lockFailed(bool unlocking, int rc) __attribute__((noinline, cold));
    // The start of every class: 1 when started (or already), 0 after a
    // failed step, with the module cleaned up.
    uint32_t start(uint32_t count, const ClassStart &how);
    // Frees every live object of the pool, so each release hook runs.
    void freeAll();
    // Class clean-up: flag, objects, string-pool handle, then the lock.
    void cleanUp();
};


// Instance checks run on records the pool manager has just handed out, whose
// strings the string library has just made. By those libraries' contracts
// such a record is a live record of its class's pool and its strings are
// live dynamic strings, so the pool and string tests cannot fail there; what
// is left to test is what the caller put in: a name that is present and not
// empty.
inline bool isSoundName(dynstr_t name)
{
    return name && dynstr_len(name) > 0;
}

// RAII holder of a class lock for one object operation.
class ClassLock {
public:
    explicit ClassLock(ClassModule &m) : m_(m) { m_.acquire(); }
    ~ClassLock() { m_.release(); }
    ClassLock(const ClassLock &) = delete;
    ClassLock &operator=(const ClassLock &) = delete;

private:
    ClassModule &m_;
};

// Exact name equality for scans of the codec table: most rows differ in
// their first letter, which is tested before anything is called.
inline bool sameCodecName(const char *rowName, const char *name)
{
    return rowName[0] == name[0] && strcmp(rowName, name) == 0;
}

// Pieces of the object operations for callers that hold the class lock of
// the record already (object_text.h has the printing ones).
// The rtpmap-required test of the codec table on a locked payload.
bool rtpmapRequired(const CPayload *payload);
// The codec table's default packet time for a locked payload's name; 0 when
// no row has the name.
uint32_t defaultPtimeOf(const CPayload *payload);
// Cores of object operations, for callers that hold the class lock already
// (the exported operation is the core under the lock).
CPayload *payloadConstructEx(uint32_t payloadType, const char *name, uint32_t clockRate, uint32_t channels);
CPayload *payloadConstructCopy(const CPayload *source);
void payloadSetFmtp(CPayload *payload, const char *fmtp);
// Construct and its instance check (whose failure is logged as Construct's).
CAttribute *attrConstructChecked(const char *name, const char *value);
// The media lock is held; the new payload or attribute joins the media's list.
void mediaAddPayload(CMedia *media, CPayload *payload);
void mediaAddAttribute(CMedia *media, CAttribute *attribute);

// How many media a session holds (takes the session lock).
uint32_t mediaCount(CSdp *session);
// The AMR band of a payload by its name: of a locked payload, and taking
// the payload lock.
ZvSdpAmrType amrKindOf(const CPayload *payload);
ZvSdpAmrType amrKind(CPayload *payload);

// Defines a class's module state (zv::name) and M, the class file's name
// for it. `recursive` for the classes whose lock their start makes: all but
// CSdp, whose lock is static, never recursive and reports nothing.
#define ZV_CLASS_MODULE(name, module, recursive)                                                         \
    namespace zv {                                                                                       \
    ClassModule name = {module,         recursive,      recursive,      false, 0, MEMM_POOL_NONE,         \
                        MEMM_POOL_NONE, MEMM_POOL_NONE, ClassMutex{recursive}};                           \
    }                                                                                                    \
    namespace {                                                                                          \
    zv::ClassModule &M = zv::name;                                                                       \
    }

// The release hook of a class: hands each owned handle, in the order given,
// to the pool manager's release function, then clears the record.
template <class T, auto... owned>
int releaseOwned(void *record, memm_release_fn release)
{
    T *object = static_cast<T *>(record);
    (release(object->*owned), ...);
    memset(object, 0, sizeof *object);
    return 0;
}

// A zeroed record of the class's pool with its rights set to read-write, or
// NULL when the pool is full; then the classes that report it log C "Failed
// to allocate memory!" as `reportAs`.
template <class T>
T *newRecord(ClassModule &m, const char *reportAs = nullptr)
{
    T *record = static_cast<T *>(memm_alloc(m.pool));
    if (record)
        record->rights = ZVSDP_READ_WRITE;
    else if (reportAs)
        ZV_LOGC_AS(m.log, reportAs, "Failed to allocate memory!");
    return record;
}

// A freshly built record kept when sound, else given back (NULL).
template <class T>
T *keptIfSound(T *object, bool sound)
{
    if (sound)
        return object;
    memm_free(object);
    return nullptr;
}

// A new record filled by fill(record) and kept when sound(record) holds.
template <class T, class Sound, class Fill>
T *buildRecord(ClassModule &m, const char *reportAs, Sound sound, Fill fill)
{
    T *record = newRecord<T>(m, reportAs);
    if (!record)
        return nullptr;
    fill(record);
    return keptIfSound(record, sound(record));
}

// Appends to `into` a copy of every object of `from`, in order, under the
// lock of the copied objects' class; a copy the list cannot take is
// destroyed. `owner` is the class whose list pool holds the list.
template <class T, class Copy, class Destruct>
void appendCopies(ClassModule &owner, llist_t *into, llist_t from, ClassModule &copied, Copy copy, Destruct destruct)
{
    ClassLock lock(copied);
    for (void *o = llist_getnext(from, nullptr); o; o = llist_getnext(from, o)) {
        T *c = copy(static_cast<T *>(o));
        if (c && llist_addobject(into, c, owner.listPool) != 0)
            destruct(c);
    }
}

// A class module's start, stop and trace-level operations, for the classes
// that say nothing beyond their start's failures. `...` is its ClassStart.
#define ZV_MODULE_OPERATIONS(init, destroy, setTraceLevel, ...) \
    ZVSDP_API uint32_t init(uint32_t count)                     \
    {                                                           \
        return M.start(count, __VA_ARGS__);                     \
    }                                                           \
    ZVSDP_API void destroy(void)                                \
    {                                                           \
        if (M.initialised == 1)                                 \
            M.cleanUp();                                        \
    }                                                           \
    ZVSDP_API void setTraceLevel(uint32_t level)                \
    {                                                           \
        zv::g_traceLevel[M.log] = level;                        \
    }

// The plain object operations, each taking its class lock for its body: a
// field's get and set, the destruct, and the add, next, has and remove
// operations on an object list. They expand in a class's own file, whose
// module is M. What does more than this is written out there.
#define ZV_FIELD_GET(Class, Type, field, get)   \
    ZVSDP_API Type get(Class *objHndl)          \
    {                                           \
        zv::ClassLock lock(M);                  \
        return objHndl->field;                  \
    }
#define ZV_FIELD_GET_SET(Class, Type, field, get, set) \
    ZV_FIELD_GET(Class, Type, field, get)              \
    ZVSDP_API void set(Class *objHndl, Type value)     \
    {                                                  \
        zv::ClassLock lock(M);                         \
        objHndl->field = value;                        \
    }
// NULL is ignored; the record's release hook frees what it owns.
#define ZV_DESTRUCT(Class, destruct)           \
    ZVSDP_API void destruct(Class *objHndl)    \
    {                                          \
        if (!objHndl)                          \
            return;                            \
        zv::ClassLock lock(M);                 \
        memm_free(objHndl);                    \
    }
// Remove destroys the object whether or not the list held it: the checked
// layer asks has first.
#define ZV_LIST_OPERATIONS(Class, list, Item, add, next, has, remove, destructItem) \
    ZVSDP_API void add(Class *objHndl, Item *item)                                   \
    {                                                                                \
        if (!item)                                                                   \
            return;                                                                  \
        zv::ClassLock lock(M);                                                       \
        llist_addobject(&objHndl->list, item, M.listPool);                           \
    }                                                                                \
    ZVSDP_API Item *next(Class *objHndl, Item *previous)                             \
    {                                                                                \
        zv::ClassLock lock(M);                                                       \
        return static_cast<Item *>(llist_getnext(objHndl->list, previous));          \
    }                                                                                \
    ZVSDP_API uint32_t has(Class *objHndl, Item *item)                               \
    {                                                                                \
        zv::ClassLock lock(M);                                                       \
        return llist_contains(objHndl->list, item) ? 1 : 0;                          \
    }                                                                                \
    ZVSDP_API void remove(Class *objHndl, Item *item)                                \
    {                                                                                \
        if (!item)                                                                   \
            return;                                                                  \
        zv::ClassLock lock(M);                                                       \
        llist_removeobject(objHndl->list, item);                                     \
        destructItem(item);                                                          \
    }

extern ClassModule g_sdpModule;
extern ClassModule g_mediaModule;
extern ClassModule g_payloadModule;
extern ClassModule g_attrModule;

// Process-wide API state: the API-initialised flag (0 at load, plain memory
// like the trace levels) and the API's dynamic-string pool.
extern uint32_t g_apiInitialised;
extern int g_apiDynstrPool;

}  // namespace zv
