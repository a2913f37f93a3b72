#include "message_version.h"

namespace gateway {

const int site_message_version = 1;

} // namespace gateway
