// The API's description, made from the route table.
#pragma once

#include "json_reply.h"

namespace gateway {

// OpenAPI 3.1.
json openapi_document();

// The schemas of what is asked, answered and told (JSON Schema 2020-12), by name.
json schemas();

} // namespace gateway
