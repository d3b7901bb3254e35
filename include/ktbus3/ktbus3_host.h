/* ktbus3_host.h: what a service, or a test, may call beyond ktbus3.h.
 *
 * A provider never includes this header. It opens a database, attaches providers to it, calls
 * their functions in safety, sends controls as a client does, and shows what is there.
 *
 * Rules that run through every function, beside those of ktbus3.h
 *   Providers  A provider's function is called with no lock of the framework held. An exception
 *              that leaves it is caught, traced at level 6 with the provider's name, counted, and
 *              answered as 0xC1000001.
 *   Visits     A visitor is called on the caller's thread with no lock held, so it may call
 *              anything. What it sees is a picture taken when the visit began. The info and all
 *              that it points to live for the one call. Returning 0 ends the visit.
 *   Growth     Every info begins with its size in bytes; later versions only append members.
 *   Threads    Every call is safe from any thread, unless stated.
 */
#ifndef KTBUS3_KTBUS3_HOST_H
#define KTBUS3_KTBUS3_HOST_H

#include "ktbus3/ktbus3.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Statuses of the framework itself --------------------------------------------------------
 * They come back as the result; what the provider answered stands apart. */
KT_CODE(KTBUS_NO_OBJECT, 0xC1000010u);             /* unknown object; null, stale, foreign handle */
KT_CODE(KTBUS_INTERFACE_NOT_OFFERED, 0xC1000041u); /* neither the object nor its types offer it */
KT_CODE(KTBUS_PROVIDER_GONE, 0xC1000042u);         /* its provider has been detached */
KT_CODE(KTBUS_TIMEOUT, 0xC1000043u);               /* the time ran out first */
KT_CODE(KTBUS_PROVIDER_NAME_TAKEN, 0xC1000044u);   /* a provider of that name is attached */
KT_CODE(KTBUS_TRACE_FILE_FAILED, 0xC1000045u);     /* the trace file cannot be opened */
KT_CODE(KTBUS_PROVIDER_THREW, 0xC1000001u);        /* the answer of a provider that threw */

/* ---- Database -------------------------------------------------------------------------------- */

/* A new database in memory, with the base types and nothing else; KtBusCloseDatabase closes it. */
KT_BUS_API KtStatus KtBusOpenDatabase(KtDatabase* out);

/* Detaches the providers that are still attached, the last one first, and drops everything. */
KT_BUS_API KtStatus KtBusCloseDatabase(KtDatabase database);

/* ---- Providers ------------------------------------------------------------------------------- */

/* Attaches a provider; `table` is copied, its functions may be null where they are never needed
 * (a missing one answers 0x80004001). `moduleAddress`, any address inside the provider's module,
 * lets the ledger know the module's own calls on threads of its own; null for a provider that is
 * part of the program. KTBUS_PROVIDER_NAME_TAKEN while a provider of that name is attached to the
 * database. The provider's Initialize is not called. */
KT_BUS_API KtStatus KtBusAttachProvider(KtDatabase database, const char* name,
                                        const KtProviderTable* table, const void* moduleAddress,
                                        KtProvider* out);

/* Names the module around the address in the ledger before it is attached, so that what it asks
 * for while it is being loaded is put down to it as well. */
KT_BUS_API KtStatus KtBusNameModule(const char* name, const void* moduleAddress);

/* Forgets the address range of a module that has been unloaded. `moduleAddress` is only compared,
 * never followed. 0xC1000010 when no module is known there. */
KT_BUS_API KtStatus KtBusForgetModule(const void* moduleAddress);

/* Ends the provider's part in the database. Returns when no call into it runs any more; it may
 * then be unloaded. Its subscriptions are reported at level 6 and dropped, waiting notices
 * discarded, its hold on the database lock and its published alerts given up. Its objects stay;
 * its interfaces answer KTBUS_PROVIDER_GONE. The handle is stale afterwards. Shutdown is not
 * called. 0x80070057 from inside one of the provider's own functions. */
KT_BUS_API KtStatus KtBusDetachProvider(KtProvider provider);

/* The provider's functions, guarded. Each returns the function's own status; 0xC1000010 for a
 * handle that is none. The text of Version is the caller's, released with _KtFree; *out is null
 * where the call fails. */
KT_BUS_API KtStatus KtBusInitializeProvider(KtProvider provider);
KT_BUS_API KtStatus KtBusShutdownProvider(KtProvider provider, uint64_t argument);
KT_BUS_API KtStatus KtBusProviderVersion(KtProvider provider, KtWchar** out);
KT_BUS_API KtStatus KtBusProviderGetAttr(KtProvider provider, uint64_t a, uint64_t b, uint64_t c,
                                         uint64_t d);

/* Exceptions caught from that provider so far. */
KT_BUS_API KtStatus KtBusProviderExceptions(KtProvider provider, uint64_t* out);

/* ---- Controls -------------------------------------------------------------------------------- */

/* Sends a control as a client does. The interface is looked up on the object, then on its type,
 * then on the superclasses from near to far; the control goes to the provider that owns it.
 * `input` and `output` may be null: the provider then gets empty sets. They stay the caller's,
 * though a provider may destroy them. Returns 0 when the provider was asked (its answer is in
 * *providerStatus), else KTBUS_NO_OBJECT, KTBUS_INTERFACE_NOT_OFFERED or KTBUS_PROVIDER_GONE. */
KT_BUS_API KtStatus KtBusSendControl(KtDatabase database, const KtObjId* object,
                                     const KtGuid* interfaceId, uint32_t selector,
                                     uint32_t controlCode, KtPropset input, KtPropset output,
                                     KtStatus* providerStatus);

/* ---- Events ---------------------------------------------------------------------------------- */

/* What KtEventRecord.kind says. A notice of an alert is named "event.alert" and carries a copy of
 * the raised properties and, where the alert has none of that name, "AlertName", "AlertDescription"
 * (TYPE_STR), "AlertSeverity" (TYPE_UINT32) and "AlertObject" (TYPE_KTOBJID, when given). */
KT_CODE(KTBUS_NOTICE_EVENT, 1u);
KT_CODE(KTBUS_NOTICE_ALERT, 2u);

/* Raises an event as the service itself. A copy of the properties goes with it (null for none). */
KT_BUS_API KtStatus KtBusRaiseEvent(KtDatabase database, const char* name, KtPropset properties);

/* Waits until everything raised in the database before this call has been delivered or dropped, to
 * the observer too; KTBUS_TIMEOUT otherwise. Not to be called from a provider's ChangeNotify, nor
 * from the observer. */
KT_BUS_API KtStatus KtBusWaitForDelivery(KtDatabase database, uint32_t milliseconds);

/* ---- What is there --------------------------------------------------------------------------- */

typedef struct KtBusInterfaceInfo {
  uint32_t size;
  uint32_t ownerGone; /* 1 when the owner has been detached */
  KtGuid interfaceId;
  const char* owner;     /* the owning provider's name */
  const char* offeredBy; /* the type that offers it, "" for the object itself */
} KtBusInterfaceInfo;

typedef struct KtBusTypeInfo {
  uint32_t size;
  uint32_t flags; /* as given to ObCreateTypeObjectEx */
  const char* name;
  KtObjId id;                           /* the type object; ObGetProperties takes it too */
  const char* const* superclasses;      /* direct ones, in the order given, ended by null */
  const KtBusInterfaceInfo* interfaces; /* the type's own */
  size_t interfaceCount;
  KtPropset properties; /* a copy, lent for the call */
  uint64_t objectCount; /* objects of exactly this type */
} KtBusTypeInfo;

typedef struct KtBusObjectInfo {
  uint32_t size;
  uint32_t flags; /* as given to ObCreateObjectEx */
  KtObjId id;
  const char* type;
  const char* owner;                    /* the creating provider's name */
  const KtBusInterfaceInfo* interfaces; /* all that it offers, in the order of the look-up */
  size_t interfaceCount;
  uint64_t sequence; /* the place in the order of creation, over all types; never given twice */
} KtBusObjectInfo;

typedef struct KtBusProviderInfo {
  uint32_t size;
  uint32_t padding;
  KtProvider provider;
  const char* name;
  uint64_t exceptions;    /* caught from it */
  uint64_t controls;      /* controls sent to it */
  uint64_t callsInFlight; /* of all its functions, now */
  uint64_t noticesDelivered;
  uint64_t noticesWaiting; /* depth of its delivery queue, the running one included */
  uint64_t subscriptions;
} KtBusProviderInfo;

typedef struct KtBusSubscriptionInfo {
  uint32_t size;
  uint32_t isAlert; /* 1 for ObRegisterAlert */
  KtCookie cookie;
  const char* name; /* name or pattern */
  const char* provider;
} KtBusSubscriptionInfo;

typedef cuvo_bool (*KtBusTypeVisitor)(const KtBusTypeInfo* info, void* context);
typedef cuvo_bool (*KtBusObjectVisitor)(const KtBusObjectInfo* info, void* context);
typedef cuvo_bool (*KtBusProviderVisitor)(const KtBusProviderInfo* info, void* context);
typedef cuvo_bool (*KtBusSubscriptionVisitor)(const KtBusSubscriptionInfo* info, void* context);

/* Types in the order of creation, the base types first. */
KT_BUS_API KtStatus KtBusVisitTypes(KtDatabase database, KtBusTypeVisitor visitor, void* context);

/* Objects of the type and of types derived from it (null: all), in the order of creation.
 * 0xC1000039 for an unknown type. */
KT_BUS_API KtStatus KtBusVisitObjects(KtDatabase database, const char* typeName,
                                      KtBusObjectVisitor visitor, void* context);

/* One object; 0xC1000010 when it is unknown. */
KT_BUS_API KtStatus KtBusVisitObject(KtDatabase database, const KtObjId* object,
                                     KtBusObjectVisitor visitor, void* context);

/* Attached providers in the order of attachment. */
KT_BUS_API KtStatus KtBusVisitProviders(KtDatabase database, KtBusProviderVisitor visitor,
                                        void* context);

/* Subscriptions in the order of registration. */
KT_BUS_API KtStatus KtBusVisitSubscriptions(KtDatabase database, KtBusSubscriptionVisitor visitor,
                                            void* context);

/* ---- Observation -----------------------------------------------------------------------------
 * What happens in a database, told to the service itself, which needs no provider for it. */

/* What has happened. "Changed" is said of an object of which a property was set through
 * ObSetProperty, an interface registered, or a child attached or detached; several changes in a row
 * may be told as one. */
KT_CODE(KTBUS_OBSERVED_EVENT, 1u);
KT_CODE(KTBUS_OBSERVED_ALERT, 2u);
KT_CODE(KTBUS_OBSERVED_CREATED, 3u);
KT_CODE(KTBUS_OBSERVED_DELETED, 4u);
KT_CODE(KTBUS_OBSERVED_CHANGED, 5u);
KT_CODE(KTBUS_OBSERVED_LOST, 6u); /* so much could not be told at this place */

/* Texts are "" and the id is zero where there is nothing to say. */
typedef struct KtBusObservation {
  uint32_t size;
  uint32_t what;
  const char* name;        /* of the event or alert */
  const char* provider;    /* who raised it, "" for the service; the creator of the object */
  KtObjId object;          /* the object, or that which the alert is about */
  const char* type;        /* of the object */
  const char* description; /* of the alert, as the next */
  uint32_t severity;
  uint32_t padding;
  KtPropset properties; /* event, alert: what a provider would get, lent for the call; else null */
  uint64_t time;        /* when it happened: milliseconds since 1970 began, UTC */
  uint64_t lost;        /* how many, for KTBUS_OBSERVED_LOST */
} KtBusObservation;

typedef void (*KtBusObserver)(const KtBusObservation* observation, void* context);

/* Tells the observer of everything from now on, in the order in which it happens, on a thread of
 * the framework's own with no lock held, so that it may call anything else here; a provider never
 * waits for it. It must not throw. One at a time: the former is replaced, null ends it. After the
 * return the former is not called any more, and what it had not been told is dropped. An observer
 * that does not come back loses what is more than 65536 waiting observations, or than 16 MiB of
 * their texts and properties, and is told how much. 0x80070057 from inside the observer, as
 * for KtBusCloseDatabase. */
KT_BUS_API KtStatus KtBusObserve(KtDatabase database, KtBusObserver observer, void* context);

/* ---- Ledger ----------------------------------------------------------------------------------
 * Counts, for the whole process, what was handed out and not returned. A thing is put down to the
 * provider whose function runs on the thread; failing that, to the module that called; failing
 * that, to the host, whose account is named "". A thing that is returned leaves the account it
 * stands in, whoever returns it. A release through the wrong function (or of memory that is not
 * the framework's) releases nothing and is put down to the caller, at the kind of the thing it
 * was tried on, at "blocks" where it is none of the framework's. */

typedef struct KtBusLedgerRow {
  uint32_t size;
  uint32_t padding;
  const char* provider; /* "" for the host */
  const char* kind;     /* "property sets", "records", "texts", "blocks", "iterators",
                           "locks", "registrations" or "database locks held" */
  uint64_t outstanding;
  uint64_t total; /* handed out since the process began */
  uint64_t wrongFrees;
  uint64_t overruns; /* released with bytes behind it overwritten */
} KtBusLedgerRow;

typedef struct KtBusLedgerTotal {
  uint32_t size;
  uint32_t padding;
  uint64_t outstanding;
  uint64_t total;
  uint64_t wrongFrees;
  uint64_t exceptions; /* caught from providers */
  uint64_t overruns;
} KtBusLedgerTotal;

typedef cuvo_bool (*KtBusLedgerVisitor)(const KtBusLedgerRow* row, void* context);

/* Rows by provider in the order of their first appearance (the host first), by kind within; rows
 * in which nothing ever happened are left out. */
KT_BUS_API KtStatus KtBusVisitLedger(KtBusLedgerVisitor visitor, void* context);

/* The sum of the accounts of one provider, or of all (null). An unknown name sums to nothing.
 * *out is overwritten. */
KT_BUS_API KtStatus KtBusLedgerSum(const char* provider, KtBusLedgerTotal* out);

/* ---- Calls across the interface ---------------------------------------------------------------
 * A gate sees every call that crosses ktbus3.h, both ways, and may answer in place of the
 * framework: for a recorder, and for whoever wants to see how a provider takes it when calls fail.
 * Without a gate a call costs one relaxed load more.
 *
 * What passes  Every call of a function of ktbus3.h, whoever makes it, and every call of one of a
 *              provider's six functions. Functions of this header do not pass, nor does what the
 *              framework calls of itself, nor what a gate or a trace call-back calls.
 * Threads      `before` and `after` are called on the caller's thread, on the host's account, with
 *              no lock of the framework held, so that they may call anything but KtBusSetCallGate.
 *              Several threads may be in them at once. They must not throw.
 * Lifetime     A call that waits (for a lock, in KtSleep) stands between its `before` and its
 *              `after`. A gate is told the `after` of those calls alone of which it was told the
 *              `before`, and none of a call that returns once the gate has been taken back. */

/* What a word of a call holds. A pointer may be null, and points to what the provider passed: it is
 * as good as the provider made it. Where nothing else is said it is the caller's, for the call. */
KT_CODE(KTBUS_WORD_NONE, 0u); /* the result of a function without one */
KT_CODE(KTBUS_WORD_STATUS, 1u);
KT_CODE(KTBUS_WORD_BOOLEAN, 2u);
KT_CODE(KTBUS_WORD_INT32, 3u); /* extended by its sign */
KT_CODE(KTBUS_WORD_UINT32, 4u);
KT_CODE(KTBUS_WORD_UINT64, 5u); /* cookies and sizes too */
KT_CODE(KTBUS_WORD_DATABASE, 6u);
KT_CODE(KTBUS_WORD_PROVIDER, 7u);
KT_CODE(KTBUS_WORD_PROPSET, 8u);
KT_CODE(KTBUS_WORD_ITERATOR, 9u);
KT_CODE(KTBUS_WORD_ADDRESS, 10u);         /* void*: a block, any handle */
KT_CODE(KTBUS_WORD_LOCK, 11u);            /* KtCriticalSection* */
KT_CODE(KTBUS_WORD_TEXT, 12u);            /* const char*, and char* as a result */
KT_CODE(KTBUS_WORD_WIDE_TEXT, 13u);       /* const KtWchar* */
KT_CODE(KTBUS_WORD_TEXTS, 14u);           /* const char* const*, ended by null */
KT_CODE(KTBUS_WORD_GUID, 15u);            /* const KtGuid* */
KT_CODE(KTBUS_WORD_OBJECT, 16u);          /* const KtObjId* */
KT_CODE(KTBUS_WORD_RECORD, 17u);          /* const cuvo_property*, to be read */
KT_CODE(KTBUS_WORD_RETURNED_RECORD, 18u); /* cuvo_property*, to be released */
KT_CODE(KTBUS_WORD_ALERT, 19u);           /* const KtAlertDefinition* */
KT_CODE(KTBUS_WORD_EVENT, 20u);           /* const KtEventRecord* */
/* Places for what comes back; they hold it in `after`, when the call succeeded. */
KT_CODE(KTBUS_WORD_OUT_UINT32, 32u);
KT_CODE(KTBUS_WORD_OUT_UINT64, 33u); /* cookies too */
KT_CODE(KTBUS_WORD_OUT_PROPSET, 34u);
KT_CODE(KTBUS_WORD_OUT_ITERATOR, 35u);
KT_CODE(KTBUS_WORD_OUT_OBJECT, 36u);       /* KtObjId* */
KT_CODE(KTBUS_WORD_OUT_OBJECTS, 37u);      /* KtObjId**; their count is the next argument */
KT_CODE(KTBUS_WORD_OUT_RECORD, 38u);       /* cuvo_property** */
KT_CODE(KTBUS_WORD_OUT_TEXT, 39u);         /* char** */
KT_CODE(KTBUS_WORD_OUT_WIDE_TEXT, 40u);    /* KtWchar** */
KT_CODE(KTBUS_WORD_TEXT_BUFFER, 41u);      /* char*; its size is the third argument */
KT_CODE(KTBUS_WORD_WIDE_TEXT_BUFFER, 42u); /* KtWchar*, likewise */

typedef struct KtBusWord {
  uint32_t kind; /* KTBUS_WORD_... */
  uint32_t padding;
  uint64_t value; /* the number, handle or pointer */
} KtBusWord;

/* What has become of a call, in `after`. */
KT_CODE(KTBUS_CALL_MADE, 0u);
KT_CODE(KTBUS_CALL_ANSWERED, 1u); /* by `before`; it was not made */
KT_CODE(KTBUS_CALL_THREW, 2u); /* the provider's function did; the result is KTBUS_PROVIDER_THREW */

/* One call. `arguments` are those of the function in their order, with three exceptions: KtTrace
 * has the level, the format and, as a third, the text that came of it; the value10 of Control is a
 * GUID and the d of ChangeNotify an event. */
typedef struct KtBusCall {
  uint32_t size;
  uint32_t inward;      /* 1: a function of the provider is called; 0: a function of ktbus3.h */
  const char* function; /* its name, as the header spells it; lives as long as the process */
  const char* provider; /* who calls or is called, as the ledger knows it ("": the host) */
  uint64_t thread;      /* a small number of the thread's own; never given twice */
  const KtBusWord* arguments;
  size_t argumentCount;
  uint32_t resultKind; /* KTBUS_WORD_... */
  uint32_t outcome;    /* KTBUS_CALL_... */
  uint64_t result;
  void* memo; /* null in `before`; what that sets comes back in `after` */
} KtBusCall;

typedef struct KtBusCallGate {
  uint32_t size;
  uint32_t padding;
  /* Before the call. 0: it is made. 1: it is not made; the caller gets call->result, which is 0
   * until it is set here, and in its places what was written here. A status there fails the call, 0
   * makes a function that answers with a pointer answer null. May be null. */
  cuvo_bool (*before)(KtBusCall* call, void* context);
  /* After the call. The result may not be changed any more. May be null. */
  void (*after)(const KtBusCall* call, void* context);
  void* context;
} KtBusCallGate;

/* Puts up a gate (copied) in place of the one that is there; null takes it away. For the whole
 * process. After the return the former is not called any more. 0x80070057 from inside a gate, and
 * for a gate whose size is not that of the struct. */
KT_BUS_API KtStatus KtBusSetCallGate(const KtBusCallGate* gate);

/* ---- Trace ----------------------------------------------------------------------------------- */

/* Lines go to every sink that is on; at the start none is. Standard error and file get
 * "2026-01-31T12:00:00.123Z [6] text", one line each: line ends at the end of the text are dropped,
 * those inside it and other control characters but the tab made visible (\n, \r, \x1b). */
KT_BUS_API void KtBusTraceToStderr(cuvo_bool on);

/* Appends to the file (UTF-8 path); null closes it. */
KT_BUS_API KtStatus KtBusTraceToFile(const char* path);

/* The text comes as it was formatted. The call-back may be called on several threads at once; what
 * it traces itself goes to the other sinks only. Null ends it: after the return it is not called
 * any more. 0x80070057 from inside the call-back. */
typedef void (*KtBusTraceCallback)(uint32_t level, const char* text, void* context);
KT_BUS_API KtStatus KtBusTraceToCallback(KtBusTraceCallback callback, void* context);

/* The trace level as KtSetTraceLevel sets it; 4 at the start. */
KT_BUS_API uint32_t KtBusTraceLevel(void);

#ifdef __cplusplus
} /* extern "C" */
#endif

#endif /* KTBUS3_KTBUS3_HOST_H */
