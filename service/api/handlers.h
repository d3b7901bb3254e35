// The handlers of all routes, by family: each answers one request whose caller has the right to it.
//
// Threads: any number at once.
// Failure: HttpError for what the caller did wrong; BusError and std::bad_alloc for the rest.
#pragma once

#include "api/http_error.h"
#include "api/route.h"
#include "api/stream_hub.h"

namespace ktsvc::api {

// health_handlers.cpp
Response GetHealth(const Call& call);

// provider_handlers.cpp
Response GetProviders(const Call& call);

// type_handlers.cpp
Response GetTypes(const Call& call);
Response GetType(const Call& call);

// object_handlers.cpp
Response GetObjects(const Call& call);
Response GetObject(const Call& call);
Response GetProperty(const Call& call);
Response GetChildren(const Call& call);

// control_handlers.cpp
Response PostControl(const Call& call);

// event_handlers.cpp
Response GetAlerts(const Call& call);
Response PostEvent(const Call& call);
Response GetTraceLevel(const Call& call);
Response PutTraceLevel(const Call& call);
StreamHub::Selection ReadSelection(const Query& query);

// explain_handlers.cpp
Response GetExplanation(const Call& call);

// ledger_handlers.cpp
Response GetLedger(const Call& call);

// metrics_handlers.cpp
Response GetMetrics(const Call& call);

// openapi.cpp
Response GetOpenApi(const Call& call);

// Helpers that families share.

// The object id, or HttpError 400.
KtObjId ObjectIdFromText(const std::string& text);

// The interface by its name or GUID, or HttpError 400.
KtGuid InterfaceFromRequest(const std::string& text);

// 404 for an object that is not there.
HttpError NoSuchObject(const KtObjId& id);

// The status of the bus for a type that is not there, and the 404 that it becomes.
inline constexpr KtStatus kUnknownType = 0xC1000039U;
HttpError NoSuchType(const std::string& name);

}  // namespace ktsvc::api
