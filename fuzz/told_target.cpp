// What is told of the driver's own accord and what is answered late: takes, descriptions and watching of any
// content, between reports of any kind, backends that come and go, and time that passes. This stands in for
// the server's end of a connection, so that it sees what clients are sent; whether they read is drawn, too.
#include "backend.h"
#include "byte_source.h"
#include "client.h"
#include "comm_socket_v4.h"
#include "commands.h"
#include "driver_state.h"
#include "router.h"
#include "target.h"
#include "vrdx.h"

#include <map>
#include <set>
#include <string>

namespace {

constexpr int most_steps = 200;
constexpr std::size_t page_bytes = 131072;
constexpr std::size_t pushed_bytes = 32768 + 20480; // one place at the most stands beyond the first figure

using told_picture = std::map<std::string, std::string>;

bool client_reads = true;
bool watching = false;
std::uint64_t told_to = 0;       // of the sequence, in whole
told_picture watched;            // what the watcher knows
std::map<std::string, int> owed; // answers still to come, by id
std::uint64_t takes_asked = 0;

std::string entry(const comm_socket_v4_packet& packet, std::string_view name) {
    for (const std::uint32_t index : packet.entries)
        if (comm_socket_v4_packet_item_name(&packet, packet.items[index]) == name)
            return std::string(comm_socket_v4_packet_item_value(&packet, packet.items[index]));
    return "(none)";
}

comm_socket_v4_packet decoded(std::string_view bytes) {
    comm_socket_v4_packet packet;
    FUZZ_CHECK(comm_socket_v4_packet_decode(&packet, reinterpret_cast<const unsigned char*>(bytes.data()),
                                            bytes.size()));
    return packet;
}

// "input 3" and "output 3" themselves, not what stands behind them.
bool names_a_place(std::string_view name) {
    return (name.starts_with("input ") || name.starts_with("output ")) &&
           name.find(' ', name.find(' ') + 1) == std::string_view::npos;
}

bool is_of(std::string_view name, const std::string& place) {
    return name == place || name.starts_with(place + " ");
}

void forget_place(told_picture& picture, const std::string& place) {
    std::erase_if(picture, [&](const auto& known) { return is_of(known.first, place); });
}

void forget_beyond(told_picture& picture, const std::string& kind, long count) {
    std::erase_if(picture, [&](const auto& known) {
        return known.first.starts_with(kind) &&
               std::strtol(known.first.c_str() + kind.size(), nullptr, 10) > count;
    });
}

// Adds the places that a packet tells; `seen` has how often each was named.
void merge(told_picture& picture, const comm_socket_v4_packet& packet, std::map<std::string, int>* seen) {
    for (const std::uint32_t index : packet.entries) {
        const std::string name(comm_socket_v4_packet_item_name(&packet, packet.items[index]));
        const std::string value(comm_socket_v4_packet_item_value(&packet, packet.items[index]));
        if (name == "inputs" || name == "outputs")
            forget_beyond(picture, name.substr(0, name.size() - 1) + " ",
                          std::strtol(value.c_str(), nullptr, 10));
        if (names_a_place(name)) {
            forget_place(picture, name);
            if (seen != nullptr)
                ++(*seen)[name];
        }
        if ((name.starts_with("input ") || name.starts_with("output ")) && !name.ends_with(" waits"))
            picture[name] = value;
    }
}

void hear_pushed(std::string_view bytes) {
    FUZZ_CHECK(bytes.size() <= pushed_bytes);
    const comm_socket_v4_packet packet = decoded(bytes);
    const std::string command = comm_socket_v4_packet_get_command(&packet);
    FUZZ_CHECK(command == "change" || command == "takes" || command == "alive");
    FUZZ_CHECK(entry(packet, "epoch").size() == 16);
    if (command != "change")
        return;
    FUZZ_CHECK(entry(packet, "from") == std::to_string(told_to + 1));
    const std::uint64_t to = std::strtoull(entry(packet, "to").c_str(), nullptr, 10);
    FUZZ_CHECK(to > told_to && to <= picture_version);
    merge(watched, packet, nullptr);
    if (entry(packet, "more") == "(none)")
        told_to = to;
}

void hear_answer(const comm_socket_v4_packet& packet) {
    FUZZ_CHECK(comm_socket_v4_packet_get_command(&packet) == std::string("take"));
    const auto found = owed.find(entry(packet, "id"));
    FUZZ_CHECK(found != owed.end());
    if (--found->second == 0)
        owed.erase(found);
}

// --- steps -------------------------------------------------------------------------------------------------

std::string one_line(std::string text) {
    std::erase(text, '\n');
    return text;
}

void say(const std::string& line) {
    if (!line.empty())
        read_backend_report_line(line);
}

void report(const char* command, const std::vector<std::string>& lines) {
    say(std::string("*COMMAND=") + command);
    say("*TYPE=message");
    for (const std::string& line : lines)
        say(line);
    read_backend_report_line("");
}

std::string next_number(byte_source& source) {
    const int drawn = next_choice(source, 24);
    return drawn < 20    ? std::to_string(drawn)
           : drawn == 20 ? "none"
           : drawn == 21 ? "unknown"
                         : "99999999999";
}

void report_size(byte_source& source) {
    const int large = next_choice(source, 16);
    const std::string outputs = large == 15 ? "1024" : std::to_string(next_choice(source, 16));
    report("info", {"inputs=" + std::to_string(next_choice(source, 16)), "outputs=" + outputs,
                    next_choice(source, 2) == 0 ? "" : "output routing controls=video,audio"});
}

// Long values are made of short input.
void report_property(byte_source& source) {
    const bool is_input = next_choice(source, 2) == 0;
    const std::string place = (is_input ? "i" : "o") + std::to_string(next_choice(source, 18));
    std::string value = one_line(next_text(source));
    for (int doubled = next_choice(source, 5); doubled > 0; --doubled)
        value += value;
    report(is_input ? "inputs" : "outputs", {place + "." + one_line(next_text(source)) + "=" + value});
}

void report_source(byte_source& source) {
    static const char* const levels[] = {"all", "audio", "video", "aux"};
    const std::string output = next_number(source);
    report("outputs",
           {"o" + output + ".input." + levels[next_choice(source, 4)] + "=" + next_number(source)});
}

void report_link(byte_source& source) {
    static const char* const states[] = {"up", "down", "unknown", ""};
    report("link",
           {std::string("state=") + states[next_choice(source, 4)], "text=" + one_line(next_text(source))});
}

void report_refusal(byte_source& source) {
    static const char* const controls[] = {"", "control=audio", "control=video", "control=aux"};
    report("refused", {"to output=" + next_number(source), "from input=" + next_number(source),
                       controls[next_choice(source, 4)], "text=" + one_line(next_text(source))});
}

// Hands the request over; the reply, or one without bytes when it comes later.
comm_socket_v4_packet ask(comm_socket_v4_packet& written, unsigned char* flags) {
    comm_socket_v4_packet_write_end(&written);
    comm_socket_v4_packet request = decoded(written.bytes);
    comm_socket_v4_packet reply;
    FUZZ_CHECK(my_vrdx_custom_packet(&request, &reply, flags, nullptr) == 1);
    FUZZ_CHECK(reply.bytes.empty() == ((*flags & comm_reply_comes_later) != 0));
    return reply;
}

void check_take_reply(const comm_socket_v4_packet& reply, unsigned char flags, const std::string& id) {
    if ((flags & comm_reply_comes_later) != 0)
        return;
    const comm_socket_v4_packet packet = decoded(reply.bytes);
    if (comm_socket_v4_packet_get_command(&packet) == std::string("error")) {
        FUZZ_CHECK(packet.result == 1 && comm_socket_v4_packet_get_argc(&packet) == 1);
        if (--owed[id] == 0)
            owed.erase(id);
    } else {
        hear_answer(packet);
    }
}

void take(byte_source& source) {
    comm_socket_v4_packet packet;
    comm_socket_v4_packet_begin_writing(&packet, 0, "take", nullptr);
    for (int count = next_choice(source, 5); count > 0; --count)
        comm_socket_v4_packet_write_arg(&packet,
                                        next_number(source) + "=" + next_number(source) +
                                            (next_choice(source, 2) == 0 ? "" : "," + next_number(source)));
    const std::string id = std::to_string(++takes_asked);
    comm_socket_v4_packet_write_nv_pair(&packet, "id", id);
    if (next_choice(source, 2) == 1)
        comm_socket_v4_packet_write_nv_pair(&packet, "within", std::to_string(next_choice(source, 8) * 500));
    if (next_choice(source, 4) == 1)
        comm_socket_v4_packet_write_nv_pair(&packet, "by", next_text(source));
    if (next_choice(source, 4) == 1)
        comm_socket_v4_packet_write_nv_pair(&packet, "expect",
                                            next_number(source) + "=" + next_number(source));
    owed[id] = 1;
    unsigned char flags = 0;
    const comm_socket_v4_packet reply = ask(packet, &flags);
    check_take_reply(reply, flags, id);
}

// Any content, and an id of our own behind it, which is the one that counts.
void odd_request(byte_source& source) {
    static const char* const commands[] = {"take", "describe", "watch"};
    const std::string command = commands[next_choice(source, 3)];
    comm_socket_v4_packet packet;
    comm_socket_v4_packet_begin_writing(&packet, 0, command.c_str(), nullptr);
    for (int count = next_choice(source, 4); count > 0; --count)
        comm_socket_v4_packet_write_arg(&packet, next_text(source));
    for (int count = next_choice(source, 4); count > 0; --count)
        comm_socket_v4_packet_write_nv_pair(&packet, next_text(source), next_text(source));
    std::string id;
    if (command == "take") {
        id = "odd " + std::to_string(++takes_asked);
        comm_socket_v4_packet_write_nv_pair(&packet, "id", id);
        owed[id] = 1;
    }
    unsigned char flags = 0;
    const comm_socket_v4_packet reply = ask(packet, &flags);
    if (command == "take")
        check_take_reply(reply, flags, id);
    if (command == "watch" && decoded(reply.bytes).result == 0) {
        watching = true;
        watched.clear();
        told_to = 0;
    }
    if (command == "describe")
        FUZZ_CHECK(reply.bytes.size() <= comm_packet_header_bytes + page_bytes);
}

void watch(byte_source&) {
    comm_socket_v4_packet packet;
    comm_socket_v4_packet_begin_writing(&packet, 0, "watch", nullptr);
    unsigned char flags = 0;
    FUZZ_CHECK(decoded(ask(packet, &flags).bytes).result == 0);
    watching = true;
    watched.clear();
    told_to = 0;
}

// All pages together name each place once.
told_picture described() {
    told_picture picture;
    std::map<std::string, int> seen;
    std::string next;
    do {
        comm_socket_v4_packet packet;
        comm_socket_v4_packet_begin_writing(&packet, 0, "describe", next.empty() ? nullptr : next.c_str());
        unsigned char flags = 0;
        const comm_socket_v4_packet reply = ask(packet, &flags);
        FUZZ_CHECK(reply.bytes.size() <= comm_packet_header_bytes + page_bytes);
        const comm_socket_v4_packet page = decoded(reply.bytes);
        FUZZ_CHECK(page.result == 0);
        merge(picture, page, &seen);
        FUZZ_CHECK(entry(page, "next") != next);
        next = entry(page, "next");
    } while (next != "(none)");
    FUZZ_CHECK(seen.size() == static_cast<std::size_t>(input_count) + static_cast<std::size_t>(output_count));
    for (const auto& [place, times] : seen)
        FUZZ_CHECK(times == 1);
    return picture;
}

void describe(byte_source&) {
    described();
}

void pass(byte_source&) {
    plan_route_changes();
    expire_assumed_routes();
    expire_takes();
    serve_watchers();
    if (watching && client_reads) {
        FUZZ_CHECK(told_to == picture_version);
        FUZZ_CHECK(watched == described());
    }
}

void pass_time(byte_source& source) {
    fuzz_clock_us += std::uint64_t{next_byte(source)} * 20000;
}

// A message goes to the buffer, and perhaps on into the pipe.
void send_one(byte_source& source) {
    if (commands_reach_backend && pending_line() != nullptr)
        pending_line_moved();
    if (next_choice(source, 4) != 0)
        pending_lines_written(0);
}

void come_or_go(byte_source&) {
    if (commands_reach_backend) {
        disconnect_backend();
    } else {
        forget_backend();
        connect_backend();
    }
}

void read_or_not(byte_source&) {
    client_reads = !client_reads;
}

void (*const steps[])(byte_source&) = {
    report_size,
    report_property,
    report_property,
    report_source,
    report_source,
    report_link,
    report_refusal,
    take,
    take,
    take,
    odd_request,
    watch,
    describe,
    pass,
    pass,
    pass_time,
    send_one,
    send_one,
    come_or_go,
    read_or_not,
};
constexpr int step_count = static_cast<int>(std::size(steps));

void check_properties() {
    std::size_t bytes = 0;
    const auto look = [&bytes](const port_properties& properties) {
        FUZZ_CHECK(properties.size() <= properties_per_port);
        for (const auto& [name, value] : properties) {
            FUZZ_CHECK(!name.empty() && name.size() <= property_name_bytes &&
                       value.size() <= property_value_bytes);
            bytes += name.size() + value.size();
        }
    };
    for (const router_input& input : router_inputs)
        look(input.properties);
    for (const router_output& output : router_outputs)
        look(output.properties);
    FUZZ_CHECK(bytes <= properties_bytes_in_all);
}

void check_counters() {
    FUZZ_CHECK(take_record.size() <= takes_in_record);
    FUZZ_CHECK(counted_since_start(counted::confirmed) + counted_since_start(counted::refused) +
                   counted_since_start(counted::unknown) <=
               counted_since_start(counted::asked));
}

void listen_once() {
    static const bool listening = [] {
        watch_takes(answer_decided_take);
        watch_for_watchers();
        watch_picture(count_rollbacks);
        return true;
    }();
    FUZZ_CHECK(listening);
}

void begin() {
    reset_driver();
    forget_backend();
    forget_watcher(0);
    owed.clear();
    watched.clear();
    client_reads = true;
    watching = false;
    told_to = 0;
}

} // namespace

// --- the server's end --------------------------------------------------------------------------------------

bool comm_socket_v4_push(comm_socket_v4*, std::uint64_t, std::string_view packet) {
    hear_pushed(packet);
    return true;
}

void comm_socket_v4_send_late_reply(comm_socket_v4*, std::uint64_t, std::string_view packet) {
    hear_answer(decoded(packet));
}

std::size_t comm_socket_v4_unread_by(comm_socket_v4*, std::uint64_t) {
    return client_reads ? 0 : 1;
}

void comm_socket_v4_bound_send_buffer(comm_socket_v4*, std::uint64_t, int) {}

std::size_t comm_socket_v4_client_count(const comm_socket_v4*) {
    return 1;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    listen_once();
    begin();
    byte_source source{data, data + size};
    connect_backend();
    for (int step = 0; step < most_steps && !used_up(source); ++step) {
        steps[next_choice(source, step_count)](source);
        check_router_model();
        check_properties();
        check_counters();
    }
    // Whatever happened, each take is answered in its time, and who reads again knows all.
    fuzz_clock_us += 61000000;
    client_reads = true;
    pass(source);
    FUZZ_CHECK(owed.empty());
    return 0;
}
