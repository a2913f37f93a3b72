#include "client.h"

#include "vrdx.h"
#include "vrdx_assert.h"

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>
#include <string_view>

namespace {

constexpr std::int32_t max_status_points = 128; // per list of a status reply

bool is_digit(char c) {
    return c >= '0' && c <= '9';
}

// 1-based and whatever strtol made of it, to 0-based.
std::int32_t to_index(long number) {
    constexpr long least = std::numeric_limits<std::int32_t>::min();
    constexpr long most = std::numeric_limits<std::int32_t>::max();
    return static_cast<std::int32_t>(std::clamp(number, least + 1, most + 1) - 1);
}

// 0-based to 1-based; the one source too many for it stays where it is.
std::int32_t to_number(std::int32_t index) {
    return index == std::numeric_limits<std::int32_t>::max() ? index : index + 1;
}

void postpone_auto_shutdown() {
    mono_auto_shutdown = monotonic_us() + auto_shutdown_delay;
}

void for_each_entry(comm_socket_v4_packet* pkt, void (*use)(const char* name, const char* value)) {
    for (unsigned i = 0; i < comm_socket_v4_packet_nv_entries(pkt); ++i) {
        const comm_socket_v4_packet_nv_pair* entry = comm_socket_v4_packet_get_nv_entry(pkt, i);
        const char* name = comm_socket_v4_packet_get_nv_pair_name(pkt, entry);
        const char* value = comm_socket_v4_packet_get_nv_pair_value_text(pkt, entry);
        if (name != nullptr && value != nullptr)
            use(name, value);
    }
}

// --- route -------------------------------------------------------------------------------------------------

// Queues the request that the writable text OUT=A or OUT=A,V describes; a text of another form queues
// nothing.
void queue_route_request(char* text) {
    const char* name = nullptr;
    const char* value = nullptr;
    divide_name_equ_value_pair(text, &name, &value);
    if (name == nullptr || value == nullptr)
        return;
    route_request request;
    parse_route_request(request, name, value);
    route_requests.push_back(request);
}

void queue_arguments(comm_socket_v4_packet* pkt) {
    for (unsigned i = 0; i < comm_socket_v4_packet_get_argc(pkt); ++i) {
        const char* argument = comm_socket_v4_packet_get_argv(pkt, i);
        if (argument == nullptr)
            continue;
        const std::unique_ptr<char, decltype(&std::free)> copy(strdup(argument), std::free);
        if (copy != nullptr)
            queue_route_request(copy.get());
    }
}

// A list of OUT=A,V separated by blanks; only the first 63 bytes of one count.
void queue_list(const char* list) {
    char token[64];
    for (list += std::strspn(list, " "); *list != '\0'; list += std::strspn(list, " ")) {
        const std::size_t length = std::strcspn(list, " ");
        const std::size_t kept = std::min(length, sizeof(token) - 1);
        std::memcpy(token, list, kept);
        token[kept] = '\0';
        queue_route_request(token);
        list += length;
    }
}

void queue_set_entry(const char* name, const char* value) {
    if (std::strcmp(name, "set") == 0)
        queue_list(value);
}

// --- router set --------------------------------------------------------------------------------------------

// The 0-based form of a property name such as "output.3.name"; empty when it names nothing of this router.
std::string backend_property(const char* name) {
    const struct {
        std::string_view prefix;
        std::size_t count;
    } kinds[] = {{"output.", router_outputs.size()}, {"input.", input_names.size()}};
    for (const auto& kind : kinds) {
        if (std::strncmp(name, kind.prefix.data(), kind.prefix.size()) != 0 ||
            !is_digit(name[kind.prefix.size()]))
            continue;
        char* end = nullptr;
        const long number = std::strtol(name + kind.prefix.size(), &end, 10);
        if (*end != '.' || number < 1 || number > static_cast<long>(kind.count))
            return "";
        // On the wire either would end the name, and what follows could pose as a message of its own.
        if (std::strpbrk(end, "=\n") != nullptr)
            return "";
        return std::string(kind.prefix) + std::to_string(number - 1) + end;
    }
    return "";
}

void forward_property(const char* name, const char* value) {
    const std::string property = backend_property(name);
    if (property.empty())
        return;
    TavrixAPIRouterMessage message;
    message.command = "router set";
    message.type = "command";
    message.fields[property] = value;
    router_send_client_message(message);
}

// --- status ------------------------------------------------------------------------------------------------

// The reply as last written. A router is looked at far more often than it changes.
comm_socket_v4_packet status_reply;
std::uint64_t status_reply_version = 0; // of the picture it shows; 0: none yet

struct status_size {
    std::int32_t in_points;
    std::int32_t out_points;
};

void append_number(std::string& text, std::int32_t number) {
    char digits[11];
    text.append(digits, std::to_chars(std::begin(digits), std::end(digits), number).ptr);
}

// One entry for each of `count` places: the name and the place's number (1-based), the value of the place
// (0-based).
template<typename get_value>
void write_numbered(comm_socket_v4_packet* respkt, std::string name, std::int32_t count, get_value value) {
    const std::size_t stem = name.size();
    for (std::int32_t place = 0; place < count; ++place) {
        name.resize(stem);
        append_number(name, place + 1);
        comm_socket_v4_packet_write_nv_pair(respkt, name, value(static_cast<std::size_t>(place)));
    }
}

void write_router(comm_socket_v4_packet* respkt, status_size size) {
    write_numbered(respkt, "input.name ", size.in_points,
                   [](std::size_t place) -> const std::string& { return input_names[place]; });
    write_numbered(respkt, "output.name ", size.out_points,
                   [](std::size_t place) -> const std::string& { return router_outputs[place].name; });
    const router_output none;
    std::string sources;
    write_numbered(respkt, "output ", size.out_points, [&](std::size_t place) -> const std::string& {
        const router_output& output = place < router_outputs.size() ? router_outputs[place] : none;
        sources.clear();
        append_number(sources, to_number(output.audio_input));
        sources += ',';
        append_number(sources, to_number(output.video_input));
        return sources;
    });
}

void write_status_block(comm_socket_v4_packet* respkt, status_size size) {
    const auto in_points = static_cast<unsigned>(size.in_points);
    const auto out_points = static_cast<unsigned>(size.out_points);
    comm_socket_v4_packet_write_argv_end(respkt);
    comm_socket_v4_packet_write_nv_pairf(respkt, "router", "%s", "?");
    comm_socket_v4_packet_write_nv_pairf(respkt, "in points", "%u", in_points);
    comm_socket_v4_packet_write_nv_pairf(respkt, "out points", "%u", out_points);
    comm_socket_v4_packet_write_nv_pairf(respkt, "input range", "%u-%u", 1U, in_points);
    comm_socket_v4_packet_write_nv_pairf(respkt, "output range", "%u-%u", 1U, out_points);
    comm_socket_v4_packet_write_nv_pairf(respkt, "input off setting", "%u", 0U);
    comm_socket_v4_packet_write_nv_pairf(respkt, "input channels", "%s", "A,V");
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

// The texts of these assertions are part of what the driver says: no blanks are added to them.
// clang-format off
int my_vrdx_custom_packet(comm_socket_v4_packet* pkt, comm_socket_v4_packet* respkt, unsigned char*,
                          comm_socket_v4_client*) {
    const std::string_view command = comm_socket_v4_packet_get_command(pkt);
    if (command == "route") {
        queue_arguments(pkt);
        for_each_entry(pkt, queue_set_entry);
        postpone_auto_shutdown();
        plan_route_changes();
        // NOLINTNEXTLINE(modernize-use-nullptr): the assertion's text
        vrdx_assert(comm_socket_v4_packet_begin_writing(respkt,0,"route",NULL) == 0);
        comm_socket_v4_packet_write_argv_end(respkt);
        vrdx_assert(comm_socket_v4_packet_write_end(respkt) == 0);
        return 1;
    }
    if (command == "router set") {
        for_each_entry(pkt, forward_property);
        postpone_auto_shutdown();
        plan_route_changes();
        // NOLINTNEXTLINE(modernize-use-nullptr): the assertion's text
        vrdx_assert(comm_socket_v4_packet_begin_writing(respkt,0,"router set",NULL) == 0);
        comm_socket_v4_packet_write_argv_end(respkt);
        vrdx_assert(comm_socket_v4_packet_write_end(respkt) == 0);
        return 1;
    }
    if (command == "status") {
        if (status_reply_version != router_version) {
            const status_size size{std::clamp(input_count, 0, max_status_points),
                                   std::clamp(output_count, 0, max_status_points)};
            if (input_count >= 1 && output_count >= 1) {
                respkt->result = 0;
                // NOLINTNEXTLINE(modernize-use-nullptr): the assertion's text
                vrdx_assert(comm_socket_v4_packet_begin_writing(respkt,0,"status",NULL) == 0);
                write_router(respkt, size);
            } else {
                respkt->result = 1;
                vrdx_assert(comm_socket_v4_packet_begin_writing(respkt,0,"status","no router") == 0);
            }
            write_status_block(respkt, size);
            vrdx_assert(comm_socket_v4_packet_write_end(respkt) == 0);
            status_reply = *respkt;
            status_reply_version = router_version;
        } else {
            *respkt = status_reply;
        }
        postpone_auto_shutdown();
        return 1;
    }
    return 0;
}
// clang-format on
