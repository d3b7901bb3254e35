// As much of JSON Schema as the API's own document uses.
#pragma once

#include <string>

#include "property_json.h"

namespace api_test {

// Why the value is not what the schema says, with the place; "" when it is. `document` is what
// references begin at. A keyword that is not known here is a fault too.
std::string SchemaFault(const ktsvc::Json& document, const ktsvc::Json& schema,
                        const ktsvc::Json& value, const std::string& place = "$");

}  // namespace api_test
