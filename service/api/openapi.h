// The description of the API for programs: OpenAPI 3.1, written from the table of routes.
//
// Threads: pure functions.
#pragma once

#include "property_json.h"

namespace ktsvc::api {

// The whole document.
Json OpenApiDocument();

// What the document calls components/schemas.
Json OpenApiSchemas();

}  // namespace ktsvc::api
