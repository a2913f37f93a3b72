#include "client_features.h"

#include "client_answers.h"
#include "client_texts.h"

namespace vrdx {

comm_socket_v4_packet features_request() {
    comm_socket_v4_packet request;
    comm_socket_v4_packet_begin_writing(&request, 0, "describe", "features");
    comm_socket_v4_packet_write_argv_end(&request);
    comm_socket_v4_packet_write_end(&request);
    return request;
}

driver_features features_in(const comm_socket_v4_packet& reply) {
    driver_features features;
    if (command_of(reply) == "describe")
        each_entry(reply, [&features](std::string_view name, std::string_view value) {
            features.take_until |= name == "feature" && value == "take until";
        });
    return features;
}

outcome features_until(driver_connection* connection, driver_features* features, std::uint64_t deadline) {
    comm_socket_v4_packet reply;
    const outcome asked = ask_until(connection, features_request(), &reply, deadline);
    if (asked == outcome::done)
        *features = features_in(reply);
    return asked;
}

} // namespace vrdx
