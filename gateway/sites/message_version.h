// The version of the messages between sites. In a source of its own, so that tests can link a gateway that
// speaks another one.
#pragma once

namespace gateway {

extern const int site_message_version;

} // namespace gateway
