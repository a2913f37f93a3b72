// In place of gateway/sites/message_version.cpp: the gateway of a release to come, as far as its version
// goes.
#include "gateway/sites/message_version.h"

namespace gateway {

const int site_message_version = 2;

} // namespace gateway
