/* ktbus3.h: what a provider may call.
 *
 * A storage-management service hosts an object bus: typed objects, property sets, events, alerts
 * and requests ("controls"). This header is the whole of what a provider module sees of it. It is
 * plain C11 and C++20 and needs no other header of the project.
 *
 * Rules that run through every function
 *   Status     A 32-bit code. Let F be bits 16 to 27. F = 0x100: fails when bits 31 and 30 are both
 *              set. F = 0: fails when not zero. Any other F: fails when bit 31 is set.
 *   Out        Out-parameters are written only on success, unless stated. A null pointer where one
 *              is needed gives 0x80070057.
 *   Handles    64 bits, null when absent. A null, destroyed or foreign handle gives 0xC1000010,
 *              never a crash, as far as the framework can know.
 *   Ownership  What is put in is copied, nested sets and texts included: the caller keeps what it
 *              passed. A record that is handed out is one _KtAlloc block (name, value and list
 *              elements included): _KtFree releases everything but the property sets that it
 *              carries, PsFreeProperty releases those too. A property set inside a record is
 *              always a fresh copy that belongs to whoever holds the record.
 *   Threads    Every call is safe from any thread. Two calls on one property set exclude each
 *              other.
 *   Text       Narrow text is UTF-8, wide text is UTF-16; both end in a zero unit.
 */
#ifndef KTBUS3_KTBUS3_H
#define KTBUS3_KTBUS3_H

/* NOLINTBEGIN(modernize-deprecated-headers): C reads this header too. */
#include <stddef.h>
#include <stdint.h>
/* NOLINTEND(modernize-deprecated-headers) */

#if !defined(__cplusplus) && !defined(_WIN32)
#include <uchar.h>
#endif

/* Set while the framework library itself is built. A caller needs no import attribute: the address
 * of a function then stays a constant, so that it can name a releaser at compile time. */
#if defined(KT_BUS_BUILD) && defined(_WIN32)
#define KT_BUS_API __declspec(dllexport)
#elif defined(KT_BUS_BUILD)
#define KT_BUS_API __attribute__((visibility("default")))
#else
#define KT_BUS_API
#endif

#ifdef __cplusplus
#define KT_CODE(name, value) inline constexpr uint32_t name = value
#define KT_STATIC_ASSERT(condition) static_assert(condition, #condition)
#else
#define KT_CODE(name, value) static const uint32_t name = value
#define KT_STATIC_ASSERT(condition) _Static_assert(condition, #condition)
#endif

/* One UTF-16 unit; KT_W("...") makes a literal of it. */
#ifdef _WIN32
typedef wchar_t KtWchar;
#define KT_W_(text) L##text
#else
typedef char16_t KtWchar;
#define KT_W_(text) u##text
#endif
#define KT_W(text) KT_W_(text)

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Types ---------------------------------------------------------------------------------- */

typedef uint32_t KtStatus; /* tested by the one failure rule above */
typedef uint8_t cuvo_bool; /* 0 false, anything else true */
typedef uint64_t KtCookie; /* an event or alert registration */

/* 16 bytes, the layout of a GUID. */
typedef struct KtGuid {
  uint32_t Data1;
  uint16_t Data2;
  uint16_t Data3;
  uint8_t Data4[8];
} KtGuid;

/* Object id; a type of its own so that overloads can tell it from a GUID. */
typedef struct KtObjId {
  KtGuid guid;
} KtObjId;

/* Opaque time value; a type of its own for the same reason. */
typedef struct KtTime {
  uint64_t value;
} KtTime;

/* Handles: pointers to structs that nobody completes. */
typedef struct KtDatabaseHandle* KtDatabase;
typedef struct KtProviderHandle* KtProvider;
typedef struct KtPropsetHandle* KtPropset;
typedef struct KtIteratorHandle* KtIterator;

/* A re-entrant lock, laid out by the framework. */
typedef struct KtCriticalSection {
  uint64_t opaque[8];
} KtCriticalSection;

/* The property record. `length` is the value's size in bytes for a scalar and the element count
 * for a list; `value` points to the value, but is the handle itself for TYPE_PROPSET. */
typedef struct cuvo_property {
  const char* name;
  uint32_t type;
  uint32_t flags;
  uint32_t length;
  uint32_t padding;
  void* value;
} cuvo_property;

/* Message definition: `name` is the default text with placeholders %1, %2 and so on. */
typedef struct KtI18NDef {
  KtGuid catalog;
  uint32_t messageId;
  uint32_t padding;
  const char* name;
} KtI18NDef;

/* Format-string record: a message and the values of its placeholders. */
typedef struct KtI18NFormatString {
  KtI18NDef message;
  KtPropset insertions;
} KtI18NFormatString;

/* Alert definition: the provider reads the name only; the rest is the framework's. */
typedef struct KtAlertDefinition {
  const char* name;
  const char* description;
  uint32_t severity;
  uint32_t padding;
} KtAlertDefinition;

/* An event notice: the second word is the name, the fourth the database that raised it. */
typedef struct KtEventRecord {
  uintptr_t kind;
  const char* name;
  KtPropset properties;
  KtDatabase database;
} KtEventRecord;

/* The provider's six functions, in the order in which ProviderEntry fills them in.
 * Control       value10 points to the KtGuid of the interface; *providerOut receives the provider.
 * ChangeNotify  d points to a KtEventRecord that lives for the call.
 * Version       *out is a text that the caller frees with _KtFree. */
typedef struct KtProviderTable {
  KtStatus (*Control)(const KtObjId* objectId, uint32_t selector, uint32_t controlCode,
                      KtPropset input, KtPropset output, uint32_t value6, uint32_t value7,
                      uint64_t value8, uint64_t value9, uint64_t value10, uint64_t value11,
                      uint64_t* providerOut);
  KtStatus (*Initialize)(KtDatabase database, KtProvider provider);
  KtStatus (*Shutdown)(uint64_t argument);
  KtStatus (*GetAttr)(uint64_t a, uint64_t b, uint64_t c, uint64_t d);
  KtStatus (*ChangeNotify)(uint64_t a, uint64_t b, uint64_t c, uint64_t d);
  KtStatus (*Version)(KtWchar** out);
} KtProviderTable;

KT_STATIC_ASSERT(sizeof(void*) == 8);
KT_STATIC_ASSERT(sizeof(KtWchar) == 2);
KT_STATIC_ASSERT(sizeof(KtGuid) == 16);
KT_STATIC_ASSERT(sizeof(KtObjId) == 16);
KT_STATIC_ASSERT(sizeof(KtTime) == 8);
KT_STATIC_ASSERT(sizeof(KtCriticalSection) == 64);
KT_STATIC_ASSERT(sizeof(cuvo_property) == 32);
KT_STATIC_ASSERT(offsetof(cuvo_property, name) == 0);
KT_STATIC_ASSERT(offsetof(cuvo_property, type) == 8);
KT_STATIC_ASSERT(offsetof(cuvo_property, flags) == 12);
KT_STATIC_ASSERT(offsetof(cuvo_property, length) == 16);
KT_STATIC_ASSERT(offsetof(cuvo_property, value) == 24);
KT_STATIC_ASSERT(sizeof(KtI18NDef) == 32);
KT_STATIC_ASSERT(offsetof(KtI18NDef, messageId) == 16);
KT_STATIC_ASSERT(offsetof(KtI18NDef, name) == 24);
KT_STATIC_ASSERT(sizeof(KtI18NFormatString) == 40);
KT_STATIC_ASSERT(offsetof(KtI18NFormatString, insertions) == 32);
KT_STATIC_ASSERT(sizeof(KtAlertDefinition) == 24);
KT_STATIC_ASSERT(offsetof(KtEventRecord, name) == 8);
KT_STATIC_ASSERT(offsetof(KtEventRecord, database) == 24);
KT_STATIC_ASSERT(sizeof(KtProviderTable) == 48);

/* ---- Property type codes ---------------------------------------------------------------------
 * A list type is its scalar code with bit 31 set; TYPE_TIME is TYPE_UINT64 with the subtype bit
 * 0x10000. Lists of texts hold pointers, lists of property sets hold handles. */
KT_CODE(TYPE_BOOLEAN, 1u); /* one byte, 0 false, anything else true */
KT_CODE(TYPE_INT32, 2u);
KT_CODE(TYPE_UINT32, 3u);
KT_CODE(TYPE_INT64, 4u);
KT_CODE(TYPE_UINT64, 5u);
KT_CODE(TYPE_STR, 6u);  /* narrow text; length in bytes, terminator included */
KT_CODE(TYPE_WSTR, 7u); /* wide text; length in bytes, terminator included */
KT_CODE(TYPE_BINARY, 8u);
KT_CODE(TYPE_GUID, 9u);
KT_CODE(TYPE_PROPSET, 10u); /* the value field is the handle; length is always 16 */
KT_CODE(TYPE_KTOBJID, 11u);
KT_CODE(TYPE_I18N, 16u);             /* KtI18NDef; length 32 + bytes of its name + 1 */
KT_CODE(TYPE_I18NFORMATSTRING, 17u); /* KtI18NFormatString; length 40 */
KT_CODE(TYPE_TIME, 0x00010005u);
KT_CODE(TYPE_BOOLEANZ, 0x80000001u);
KT_CODE(TYPE_INT32Z, 0x80000002u);
KT_CODE(TYPE_UINT32Z, 0x80000003u);
KT_CODE(TYPE_INT64Z, 0x80000004u);
KT_CODE(TYPE_UINT64Z, 0x80000005u);
KT_CODE(TYPE_STRZ, 0x80000006u);
KT_CODE(TYPE_WSTRZ, 0x80000007u);
KT_CODE(TYPE_GUIDZ, 0x80000009u);
KT_CODE(TYPE_PROPSETZ, 0x8000000Au);
KT_CODE(TYPE_KTOBJIDZ, 0x8000000Bu);
KT_CODE(TYPE_I18NZ, 0x80000010u);
KT_CODE(TYPE_I18NFORMATSTRINGZ, 0x80000011u);
KT_CODE(TYPE_TIMEZ, 0x80010005u);

/* ---- Trace ---------------------------------------------------------------------------------- */

/* Writes one line when `level` is at least the trace level. The format is the Microsoft C
 * run-time's on every target: %s narrow and %S UTF-16 text, %d %u %x %X %ld %lu %lx 32 bits,
 * %I64d %I64u %lld %llu %llx 64 bits, %c %p %%, with flags, width and precision. A null text
 * prints "(null)"; a conversion that is none (such as a bare %l) is printed as it stands and takes
 * no argument. */
KT_BUS_API void KtTrace(uint32_t level, const char* format, ...);

/* Sets the level and returns the previous one. */
KT_BUS_API uint32_t KtSetTraceLevel(uint32_t level);

/* ---- Memory, locks, time, text -------------------------------------------------------------- */

/* The framework's memory, aligned for any value; null on exhaustion. */
KT_BUS_API void* _KtAlloc(size_t size);

/* Releases a block of the framework's memory. Null does nothing. */
KT_BUS_API void _KtFree(void* block);

/* Makes a re-entrant lock in the caller's memory, which stays where it is until it is deleted. */
KT_BUS_API void KtInitializeCriticalSection(KtCriticalSection* section);

/* Waits until no other thread holds the lock, and holds it once more. */
KT_BUS_API void KtEnterCriticalSection(KtCriticalSection* section);

/* Takes back one KtEnterCriticalSection of this thread; the last one lets other threads in. */
KT_BUS_API void KtLeaveCriticalSection(KtCriticalSection* section);

/* Ends a lock that no thread holds or waits for. It may be initialised anew. */
KT_BUS_API void KtDeleteCriticalSection(KtCriticalSection* section);

/* Sleeps for that many milliseconds. */
KT_BUS_API void KtSleep(uint32_t milliseconds);

/* "{9452C1D7-9A89-4CDF-B3DF-1EE1D7D002D9}", upper case. Freed with _KtFree; null on exhaustion or
 * for a null pointer. */
KT_BUS_API char* KtGUIDToString(const KtGuid* guid);

/* UTF-8 to UTF-16 and back. With a null `to`: the number of units needed without the terminator.
 * At most `count` units are written, the terminator only where it fits. Returns the number of
 * units without the terminator, (size_t)-1 for malformed input. */
KT_BUS_API size_t Ktmbstowcs(KtWchar* to, const char* from, size_t count);
KT_BUS_API size_t Ktwcstombs(char* to, const KtWchar* from, size_t count);

/* Length in bytes without the terminator; 0 for null. */
KT_BUS_API int KtlstrlenA(const char* text);

/* Closes an iterator. */
KT_BUS_API KtStatus KtCloseHandle(void* handle);

/* ---- Property sets -------------------------------------------------------------------------- */

/* A new empty set, destroyed with PsDestroyPropset. */
KT_BUS_API KtStatus PsCreatePropset(KtPropset* out);

/* Destroys a set; its handle is then a destroyed one. 0xC1000010 for a handle that is none. Records
 * found in the set and copies of it live on. */
KT_BUS_API KtStatus PsDestroyPropset(KtPropset propset);

/* A deep copy, nested sets included. */
KT_BUS_API KtStatus PsCopyPropset(KtPropset from, KtPropset* out);

/* Adds; 0xC1000013 when the name is there. */
KT_BUS_API KtStatus PsAddProperty(KtPropset propset, const cuvo_property* property);

/* Replaces value, type and flags; 0x41000012 when nothing changes, 0xC1000011 when the name is not
 * there. */
KT_BUS_API KtStatus PsSetProperty(KtPropset propset, const cuvo_property* property);

/* A new record, released with PsFreeProperty; 0xC1000011 when there is none. */
KT_BUS_API KtStatus PsFindProperty(KtPropset propset, const char* name, cuvo_property** found);

/* Enumeration in the order of adding; 0xC1000014 at the end. Properties added or removed meanwhile
 * neither crash it nor are promised to be seen. The iterator is closed with KtCloseHandle, each
 * record released with PsFreeProperty. */
KT_BUS_API KtStatus PsOpenPropset(KtPropset propset, KtIterator* out);
KT_BUS_API KtStatus PsFindNextProperty(KtPropset propset, KtIterator iterator,
                                       cuvo_property** found);

/* Releases a record and every property set that it carries. */
KT_BUS_API KtStatus PsFreeProperty(cuvo_property* property);

/* Adds or replaces the property named "p" and the number: insertion `number` of a message. */
KT_BUS_API KtStatus I18nAddInsertionString(KtPropset propset, uint32_t number, const char* text);
KT_BUS_API KtStatus I18nAddInsertionWideString(KtPropset propset, uint32_t number,
                                               const KtWchar* text);

/* ---- Database and types --------------------------------------------------------------------- */

/* The database lock, re-entrant. */
KT_BUS_API KtStatus DbLockDatabase(KtProvider provider);
KT_BUS_API KtStatus DbUnlockDatabase(KtProvider provider);

/* Ids of all objects of the type or of a type derived from it, in order of creation. One block,
 * freed with _KtFree. */
KT_BUS_API KtStatus DbGetObjects(KtDatabase database, const char* typeName, KtObjId** list,
                                 uint32_t* count);

/* Creates a type; `superclasses` is a list of names ended by null, `properties` may be null.
 * 0xC1000038 when the type is there, 0xC1000037 when a superclass is not. */
KT_BUS_API KtStatus ObCreateTypeObject(KtDatabase database, const char* typeName,
                                       const char* const* superclasses, KtPropset properties,
                                       KtObjId* out);
KT_BUS_API KtStatus ObCreateTypeObjectEx(KtDatabase database, const char* typeName,
                                         const char* const* superclasses, KtPropset properties,
                                         uint32_t flags, uint64_t zero, KtObjId* out);

/* Every object of the type offers the interface. */
KT_BUS_API KtStatus ObRegisterInterfaceOnType(KtDatabase database, const char* typeName,
                                              KtProvider owner, const KtGuid* interfaceId);

/* ---- Objects -------------------------------------------------------------------------------- */

/* 0xC1000039 for an unknown type. */
KT_BUS_API KtStatus ObCreateObject(KtDatabase database, KtProvider provider, const char* typeName,
                                   KtObjId* out);
KT_BUS_API KtStatus ObCreateObjectEx(KtDatabase database, KtProvider provider, const char* typeName,
                                     uint32_t flags, void* null, KtObjId* out);

/* 0xC1000010 for an unknown object. */
KT_BUS_API KtStatus ObDeleteObject(KtDatabase database, const KtObjId* object);

/* Properties of an object. Set adds or replaces; a found record (PsFreeProperty) and a returned
 * set (PsDestroyPropset) belong to the caller. 0xC1000011 for a missing property. */
KT_BUS_API KtStatus ObGetProperty(KtDatabase database, const KtObjId* object, const char* name,
                                  cuvo_property** found);
KT_BUS_API KtStatus ObSetProperty(KtDatabase database, const KtObjId* object,
                                  const cuvo_property* property);
KT_BUS_API KtStatus ObGetProperties(KtDatabase database, const KtObjId* object, KtPropset* out);

/* The type's name, freed with _KtFree. */
KT_BUS_API KtStatus ObGetObjectType(KtDatabase database, const KtObjId* object, char** typeName);

/* Children in the order in which they were attached: one block, freed with _KtFree; a null list
 * for none. */
KT_BUS_API KtStatus ObGetChildObjects(KtDatabase database, const KtObjId* object, KtObjId** list,
                                      uint32_t* count);

/* The object offers the interface, served by `owner`; 0xC1000029 when the object has it. */
KT_BUS_API KtStatus ObRegisterInterface(KtDatabase database, const KtObjId* object,
                                        KtProvider owner, const KtGuid* interfaceId);

/* True when equal; a null pointer is equal to nothing. */
KT_BUS_API cuvo_bool ObCompareId(const KtObjId* left, const KtObjId* right);

/* ---- Events and alerts ---------------------------------------------------------------------- */

/* A subscription of that provider to a name or a pattern. A provider gets one notice for one
 * event, however many of its subscriptions match; notices of one database reach a provider one at
 * a time, in the order in which they were raised. */
KT_BUS_API KtStatus EvRegisterEvent(KtDatabase database, KtProvider context, const char* name,
                                    KtCookie* out);

/* Takes a subscription of EvRegisterEvent back; notices of it that still wait are not delivered.
 * 0xC1000010 for a cookie that is none, that was taken back already, or that is an alert's. */
KT_BUS_API KtStatus EvUnregisterEvent(KtDatabase database, KtCookie cookie);

/* True when the name matches the pattern. "*" stands for one name part, whole; parts are separated
 * by ".". */
KT_BUS_API cuvo_bool EvMatch(KtDatabase database, const char* eventName, const char* pattern);

/* Raised alerts reach the provider as notices named "event.alert". */
KT_BUS_API KtStatus ObRegisterAlert(KtDatabase database, KtProvider context, const char* name,
                                    KtCookie* out);

/* Takes a registration of ObRegisterAlert back, as EvUnregisterEvent does one of events, with the
 * same status. */
KT_BUS_API KtStatus ObUnregisterAlert(KtDatabase database, KtCookie cookie);

/* 0xC100002D when published already. */
KT_BUS_API KtStatus ObPublishAlert(KtDatabase database, KtProvider provider,
                                   const KtAlertDefinition* definition);

/* Takes an alert back that the same provider published; 0xC100002E when that provider has published
 * none of that name. */
KT_BUS_API KtStatus ObUnpublishAlert(KtDatabase database, KtProvider provider, const char* name);

/* 0xC100002E when it is not published. `properties` and `object` may be null. */
KT_BUS_API KtStatus ObRaiseAlert(KtDatabase database, KtProvider provider, const char* name,
                                 KtPropset properties, const KtObjId* object);

/* ---- Offered to providers that publish what they find ---------------------------------------- */

/* Raises an event with a copy of the properties (null for none); never waits for its delivery. */
KT_BUS_API KtStatus EvRaiseEvent(KtDatabase database, KtProvider provider, const char* name,
                                 KtPropset properties);

/* Makes an object a child of another one, behind those that are there; it may have several parents.
 * Attaching twice, to itself or in a circle gives 0x80070057, an unknown object 0xC1000010. A
 * deleted object leaves all its parents. */
KT_BUS_API KtStatus ObAttachChildObject(KtDatabase database, const KtObjId* parent,
                                        const KtObjId* child);

/* Takes a child from its parent; neither is deleted. 0x80070057 when it is no child of that parent,
 * 0xC1000010 for an unknown object. */
KT_BUS_API KtStatus ObDetachChildObject(KtDatabase database, const KtObjId* parent,
                                        const KtObjId* child);

#ifdef __cplusplus
} /* extern "C" */
#endif

#endif /* KTBUS3_KTBUS3_H */
