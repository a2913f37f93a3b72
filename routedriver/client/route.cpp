#include "commands.h"

#include "text.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>

namespace {

// 1-based and whatever strtol made of it, to 0-based.
std::int32_t to_index(long number) {
    constexpr long least = std::numeric_limits<std::int32_t>::min();
    constexpr long most = std::numeric_limits<std::int32_t>::max();
    return static_cast<std::int32_t>(std::clamp(number, least + 1, most + 1) - 1);
}

// Queues the request that the writable text OUT=A or OUT=A,V describes; a text of another form queues
// nothing.
void queue_take(char* text, requester client) {
    const char* name = nullptr;
    const char* value = nullptr;
    divide_name_equ_value_pair(text, &name, &value);
    if (name == nullptr || value == nullptr)
        return;
    route_request request;
    parse_route_request(request, name, value);
    queue_route_request(request, client);
}

void queue_arguments(const comm_socket_v4_packet* pkt, requester client) {
    for (unsigned i = 0; i < comm_socket_v4_packet_get_argc(pkt); ++i) {
        const char* argument = comm_socket_v4_packet_get_argv(pkt, i);
        if (argument == nullptr)
            continue;
        const std::unique_ptr<char, decltype(&std::free)> copy(strdup(argument), std::free);
        if (copy != nullptr)
            queue_take(copy.get(), client);
    }
}

// A list of OUT=A,V separated by blanks; only the first 63 bytes of one count.
void queue_list(const char* list, requester client) {
    char token[64];
    for (list += std::strspn(list, " "); *list != '\0'; list += std::strspn(list, " ")) {
        const std::size_t length = std::strcspn(list, " ");
        const std::size_t kept = std::min(length, sizeof(token) - 1);
        std::memcpy(token, list, kept);
        token[kept] = '\0';
        queue_take(token, client);
        list += length;
    }
}

} // namespace

void parse_route_request(route_request& req, const char* name, const char* value) {
    std::fprintf(stderr, "'%s' = '%s'\n", name, value);
    req.output = to_index(std::strtol(name, nullptr, 10));
    constexpr std::size_t most = 8;
    std::int32_t sources[most];
    std::size_t count = 0;
    for (const char* at = value; *at != '\0';) {
        at += std::strspn(at, " ");
        const long number = std::strtol(at, nullptr, 10);
        if (count < most)
            sources[count++] = to_index(number);
        at += std::strcspn(at, ",");
        if (*at == ',')
            ++at;
    }
    if (count == 0)
        return;
    req.audio_input = sources[0];
    req.video_input = count > 1 ? sources[1] : sources[0];
}

bool answer_route(comm_socket_v4_packet* pkt, comm_socket_v4_packet* respkt, requester client) {
    requester_asks(client);
    queue_arguments(pkt, client);
    for_each_entry(pkt, [client](const char* name, const char* value) {
        if (std::strcmp(name, "set") == 0)
            queue_list(value, client);
    });
    postpone_auto_shutdown();
    plan_route_changes();
    // The texts of these assertions are part of what the driver says: no blanks are added to them.
    // clang-format off
    packet_assert(comm_socket_v4_packet_begin_writing(respkt,0,"route",NULL) == 0); // NOLINT(modernize-use-nullptr)
    comm_socket_v4_packet_write_argv_end(respkt);
    packet_assert(comm_socket_v4_packet_write_end(respkt) == 0);
    // clang-format on
    return true;
}
