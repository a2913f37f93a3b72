// A whole schedule: reports of the backend, packets of clients, settings, backends that come and go, and time
// that passes, in any order. The first byte says whether takes are assumed; each step begins with a byte that
// chooses what happens.
#include "backend.h"
#include "byte_source.h"
#include "client.h"
#include "driver_state.h"
#include "router.h"
#include "target.h"
#include "vrdx.h"

#include <map>
#include <set>

namespace {

constexpr int most_steps = 200;

// The sources that clients asked for and the backend reported, by output. What an output shows is one of
// these, or none. A router without separate levels gives both levels the video source, so audio may be
// either.
struct known_sources {
    std::set<std::int32_t> audio{-1};
    std::set<std::int32_t> video{-1};
};
std::map<std::int32_t, known_sources> known;

// --- what is drawn -----------------------------------------------------------------------------------------

std::int32_t next_output(byte_source& source) {
    const int drawn = next_choice(source, 20);
    return drawn < 16 ? drawn : (drawn - 17) * 400; // also -400, 400 and 800
}

std::int32_t next_input(byte_source& source) {
    return next_choice(source, 20) - 1;
}

std::string next_count(byte_source& source, int most) {
    static const char* const odd[] = {"", "-3", "12abc", "99999999999999999999"};
    const int drawn = next_choice(source, 64);
    if (drawn < 4)
        return odd[drawn];
    return std::to_string(drawn < 6 ? most + drawn - 4 : drawn - 6);
}

// --- steps -------------------------------------------------------------------------------------------------

void say(const std::string& line) {
    read_backend_report_line(line);
}

void begin_report(const char* command) {
    say(std::string("*COMMAND=") + command);
    say("*TYPE=message");
}

void report_size(byte_source& source) {
    begin_report("info");
    say("inputs=" + next_count(source, max_inputs));
    say("outputs=" + next_count(source, max_outputs));
    if (next_choice(source, 2) == 1)
        say("output routing controls=video,audio");
    say("");
}

void report_names(byte_source& source) {
    begin_report("inputs");
    for (int count = next_choice(source, 4); count > 0; --count)
        say("i" + std::to_string(next_choice(source, 20)) + ".name=camera " +
            std::to_string(next_byte(source)));
    say("");
}

void report_one_source(byte_source& source) {
    static const char* const levels[] = {"all", "audio", "video", "aux"};
    const std::int32_t output = next_output(source);
    const std::int32_t input = next_input(source);
    const int level = next_choice(source, 4);
    if (output >= 0 && level <= 1)
        known[output].audio.insert(input);
    if (output >= 0 && (level == 0 || level == 2))
        known[output].video.insert(input);
    say("o" + std::to_string(output) + ".input." + levels[level] + "=" +
        (input < 0 ? "none" : std::to_string(input)));
}

// The report may stay open, so that the next one goes on with it.
void report_sources(byte_source& source) {
    begin_report("outputs");
    for (int count = next_choice(source, 4); count > 0; --count)
        report_one_source(source);
    if (next_choice(source, 8) != 0)
        say("");
}

std::string next_take(byte_source& source) {
    const std::int32_t output = next_output(source);
    const std::int32_t audio = next_input(source);
    const bool both = next_choice(source, 2) == 0;
    const std::int32_t video = both ? audio : next_input(source);
    known[output].video.insert(video);
    known[output].audio.insert({audio, video});
    return std::to_string(output + 1) + "=" + std::to_string(audio + 1) +
           (both ? "" : "," + std::to_string(video + 1));
}

void handle_packet(const comm_socket_v4_packet& written) {
    comm_socket_v4_packet request;
    comm_socket_v4_packet reply;
    const auto* bytes = reinterpret_cast<const unsigned char*>(written.bytes.data());
    FUZZ_CHECK(comm_socket_v4_packet_decode(&request, bytes, written.bytes.size()));
    FUZZ_CHECK(my_vrdx_custom_packet(&request, &reply, nullptr, nullptr) == 1);
    FUZZ_CHECK(!commands_reach_backend || route_requests.empty());
}

void take(byte_source& source) {
    comm_socket_v4_packet packet;
    comm_socket_v4_packet_begin_writing(&packet, 0, "route", nullptr);
    for (int count = next_choice(source, 4); count > 0; --count)
        comm_socket_v4_packet_write_arg(&packet, next_take(source));
    std::string list;
    for (int count = next_choice(source, 4); count > 0; --count)
        list += next_take(source) + " ";
    comm_socket_v4_packet_write_nv_pair(&packet, "set", list);
    comm_socket_v4_packet_write_end(&packet);
    handle_packet(packet);
}

void set_property(byte_source& source) {
    comm_socket_v4_packet packet;
    comm_socket_v4_packet_begin_writing(&packet, 0, "router set", nullptr);
    const std::string kind = next_choice(source, 2) == 0 ? "input." : "output.";
    comm_socket_v4_packet_write_nv_pair(&packet, kind + std::to_string(next_choice(source, 20)) + ".name",
                                        next_text(source));
    comm_socket_v4_packet_write_end(&packet);
    handle_packet(packet);
}

void change_setting(byte_source& source) {
    std::string name = next_text(source);
    name.resize(std::min(name.size(), name.find('\0')));
    my_vrdx_on_set(nullptr, name.c_str(), next_text(source));
}

void come_or_go(byte_source&) {
    if (commands_reach_backend)
        disconnect_backend();
    else
        connect_backend();
}

void pass_time(byte_source& source) {
    const std::uint64_t amount = next_byte(source);
    fuzz_clock_us += amount < 128 ? amount * 20000 : (amount - 128) * 1000;
    if (amount == 128)
        fuzz_clock_us += assume_timeout; // exactly
}

// What expire_assumed_routes() has to make of `before`.
router_output after_expiry(router_output before) {
    if (before.confirm_deadline != 0 && before.confirm_deadline <= fuzz_clock_us) {
        before.audio_input = before.saved_audio_input;
        before.video_input = before.saved_video_input;
        before.confirm_deadline = 0;
    }
    return before;
}

void check_expiry() {
    const std::vector<router_output> before = router_outputs;
    expire_assumed_routes();
    for (std::size_t i = 0; i < before.size(); ++i) {
        const router_output wanted = after_expiry(before[i]);
        const router_output& seen = router_outputs[i];
        FUZZ_CHECK(seen.audio_input == wanted.audio_input && seen.video_input == wanted.video_input);
        FUZZ_CHECK(seen.saved_audio_input == wanted.saved_audio_input);
        FUZZ_CHECK(seen.saved_video_input == wanted.saved_video_input);
        FUZZ_CHECK(seen.confirm_deadline == wanted.confirm_deadline && seen.name == wanted.name);
        FUZZ_CHECK(seen.confirm_deadline == 0 || seen.confirm_deadline > fuzz_clock_us);
    }
}

// The steps of the loop's pass that work on the model.
void run_pass(byte_source&) {
    notify_backend_settings();
    plan_route_changes();
    FUZZ_CHECK(!commands_reach_backend || (route_requests.empty() && pending_settings.empty()));
    check_expiry();
}

void show_status(byte_source&) {
    check_status_reply();
}

void (*const steps[])(byte_source&) = {
    report_size, report_names, report_sources, report_sources, take,
    take,        take,         run_pass,       run_pass,       pass_time,
    pass_time,   set_property, come_or_go,     change_setting, show_status,
};
constexpr int step_count = static_cast<int>(std::size(steps));

void check_known_sources() {
    for (std::size_t i = 0; i < router_outputs.size(); ++i) {
        const router_output& output = router_outputs[i];
        if (output.audio_input == -1 && output.video_input == -1)
            continue;
        const known_sources& sources = known[static_cast<std::int32_t>(i)];
        FUZZ_CHECK(sources.audio.contains(output.audio_input));
        FUZZ_CHECK(sources.video.contains(output.video_input));
    }
}

// One take on its own: what was shown before it is what a rollback would bring back.
void check_saved_pair() {
    if (!commands_reach_backend || router_outputs.empty() || dbg_nochg_assume)
        return;
    plan_route_changes(); // what still waited while there was no backend
    const router_output before = router_outputs.front();
    queue_route_request({-1, -1, 0}, {});
    plan_route_changes();
    FUZZ_CHECK(router_outputs.front().saved_audio_input == before.audio_input);
    FUZZ_CHECK(router_outputs.front().saved_video_input == before.video_input);
    fuzz_clock_us = router_outputs.front().confirm_deadline;
    FUZZ_CHECK(fuzz_clock_us != 0);
    check_expiry();
    FUZZ_CHECK(router_outputs.front().audio_input == before.audio_input);
    FUZZ_CHECK(router_outputs.front().video_input == before.video_input);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    reset_driver();
    known.clear();
    byte_source source{data, data + size};
    dbg_nochg_assume = next_choice(source, 8) == 7;
    connect_backend();
    for (int step = 0; step < most_steps && !used_up(source); ++step) {
        steps[next_choice(source, step_count)](source);
        check_router_model();
        check_known_sources();
    }
    check_pending_messages();
    check_saved_pair();
    check_status_reply();
    return 0;
}
