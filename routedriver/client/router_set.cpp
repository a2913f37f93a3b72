#include "commands.h"

#include "plain_text.h"

#include <cstdlib>
#include <cstring>
#include <string_view>

namespace {

// What "output.3.name" addresses.
struct property {
    std::string name; // as the backend knows it, 0-based; empty: nothing of this router
    std::int32_t place;
};

property property_of(const char* name) {
    const struct {
        std::string_view prefix;
        std::int32_t count;
        std::int32_t first_place;
    } kinds[] = {{"output.", output_count, 0}, {"input.", input_count, first_input_place}};
    for (const auto& kind : kinds) {
        if (std::strncmp(name, kind.prefix.data(), kind.prefix.size()) != 0 ||
            !is_digit(name[kind.prefix.size()]))
            continue;
        char* end = nullptr;
        const long number = std::strtol(name + kind.prefix.size(), &end, 10);
        if (*end != '.' || number < 1 || number > kind.count)
            break;
        // In the message to the backend either of them would end the name, and the rest could look like
        // another message.
        if (std::strpbrk(end, "=\n") != nullptr)
            break;
        const auto index = static_cast<std::int32_t>(number - 1);
        return {std::string(kind.prefix) + std::to_string(index) + end, kind.first_place + index};
    }
    return {"", -1};
}

void forward_property(const char* name, const char* value, requester client) {
    const property addressed = property_of(name);
    if (addressed.name.empty())
        return;
    TavrixAPIRouterMessage message;
    message.command = "router set";
    message.type = "command";
    message.fields[addressed.name] = value;
    router_send_client_message(message, client, addressed.place);
}

} // namespace

bool answer_router_set(comm_socket_v4_packet* pkt, comm_socket_v4_packet* respkt, requester client) {
    requester_asks(client);
    for_each_entry(pkt,
                   [client](const char* name, const char* value) { forward_property(name, value, client); });
    postpone_auto_shutdown();
    plan_route_changes();
    // The texts of these assertions are part of what the driver says: no blanks are added to them.
    // clang-format off
    packet_assert(comm_socket_v4_packet_begin_writing(respkt,0,"router set",NULL) == 0); // NOLINT(modernize-use-nullptr)
    comm_socket_v4_packet_write_argv_end(respkt);
    packet_assert(comm_socket_v4_packet_write_end(respkt) == 0);
    // clang-format on
    return true;
}
