// What a driver tells a watching client: pages of `describe`, `watch`, `change`, `takes`, `alive` and answers
// of takes. The input is lines: of each packet the command, then its entries as NAME=VALUE, then an empty
// line.
#include "client_limits.h"
#include "client_watch.h"
#include "target.h"

#include <algorithm>
#include <string>

namespace {

constexpr const char* default_epoch =
    "0123456789abcdef"; // in front of each packet, so that the fuzzer need not find it

std::string_view cut_line(std::string_view* text) {
    const std::size_t end = std::min(text->find('\n'), text->size());
    const std::string_view line = text->substr(0, end);
    text->remove_prefix(std::min(end + 1, text->size()));
    return line;
}

// The next packet of the input, as it arrives; false at the end.
bool next_packet(std::string_view* input, comm_socket_v4_packet* packet) {
    if (input->empty())
        return false;
    comm_socket_v4_packet sent;
    const std::string command(cut_line(input));
    if (comm_socket_v4_packet_begin_writing(&sent, 0, command.c_str(), nullptr) != 0)
        comm_socket_v4_packet_begin_writing(&sent, 0, "change", nullptr);
    comm_socket_v4_packet_write_argv_end(&sent);
    for (std::string_view line = cut_line(input); !line.empty(); line = cut_line(input)) {
        const std::size_t equals = std::min(line.find('='), line.size());
        const std::string_view value = line.substr(std::min(equals + 1, line.size()));
        comm_socket_v4_packet_write_nv_pair(&sent, line.substr(0, equals), value);
    }
    comm_socket_v4_packet_write_nv_pair(&sent, "epoch", default_epoch); // the first one of a name counts
    comm_socket_v4_packet_write_end(&sent);
    FUZZ_CHECK(comm_socket_v4_packet_decode(packet, reinterpret_cast<const unsigned char*>(sent.bytes.data()),
                                            sent.bytes.size()));
    return true;
}

template<typename place> std::size_t checked_property_bytes(const place& one) {
    FUZZ_CHECK(one.name.size() <= vrdx::picture_name_limit);
    FUZZ_CHECK(one.properties.size() <= vrdx::properties_limit);
    FUZZ_CHECK(one.told || (one.name.empty() && one.properties.empty()));
    std::size_t bytes = 0;
    for (const vrdx::place_property& each : one.properties) {
        FUZZ_CHECK(each.name.size() <= vrdx::property_name_limit);
        FUZZ_CHECK(each.value.size() <= vrdx::property_value_limit);
        bytes += each.name.size() + each.value.size();
    }
    return bytes;
}

void check_sources(const vrdx::level_sources& sources) {
    const int most = static_cast<int>(vrdx::picture_inputs_limit);
    FUZZ_CHECK(sources.audio >= vrdx::source_unknown && sources.audio <= most);
    FUZZ_CHECK(sources.video >= vrdx::source_unknown && sources.video <= most);
}

void check_picture(const vrdx::router_picture& picture) {
    FUZZ_CHECK(picture.inputs.size() <= vrdx::picture_inputs_limit);
    FUZZ_CHECK(picture.outputs.size() <= vrdx::picture_outputs_limit);
    std::size_t bytes = 0;
    for (const vrdx::picture_input& each : picture.inputs)
        bytes += checked_property_bytes(each);
    for (const vrdx::picture_output& each : picture.outputs) {
        bytes += checked_property_bytes(each);
        check_sources(each.sources);
        FUZZ_CHECK(each.told || (!each.waits_ms && !each.taken && each.sources == vrdx::level_sources()));
    }
    FUZZ_CHECK(bytes == picture.property_bytes && bytes <= vrdx::property_bytes_limit);
    FUZZ_CHECK(picture.errors.size() <= vrdx::picture_messages_limit);
    FUZZ_CHECK(picture.notes.size() <= vrdx::picture_messages_limit);
}

// Ascending, each once, and of places that there are.
void check_places(const std::vector<int>& places, std::size_t count) {
    for (std::size_t i = 0; i < places.size(); ++i) {
        FUZZ_CHECK(places[i] >= 1 && static_cast<std::size_t>(places[i]) <= count);
        FUZZ_CHECK(i == 0 || places[i - 1] < places[i]);
    }
}

void check_result(const vrdx::take_result& result) {
    FUZZ_CHECK(result.text.size() <= vrdx::picture_text_limit);
    FUZZ_CHECK(result.word == vrdx::take_word::shows || result.sources == vrdx::level_sources());
    check_sources(result.sources);
}

void check_records(const std::vector<vrdx::take_record>& records) {
    FUZZ_CHECK(records.size() <= vrdx::take_records_per_packet_limit);
    for (const vrdx::take_record& each : records) {
        FUZZ_CHECK(each.number != 0 && each.output >= 0);
        check_sources(each.before);
        check_sources(each.wanted);
        check_result(each.result);
    }
}

void check_watch(const vrdx::router_watch& watch, vrdx::watch_step step, const vrdx::watch_news& news) {
    check_picture(watch.picture);
    check_places(news.picture.inputs, watch.picture.inputs.size());
    check_places(news.picture.outputs, watch.picture.outputs.size());
    check_records(news.takes);
    FUZZ_CHECK(step == vrdx::watch_step::told || !watch.complete);
    FUZZ_CHECK(!watch.complete || (watch.begun && watch.picture.sequence == watch.to));
}

void check_answer(const comm_socket_v4_packet& packet) {
    vrdx::take_answer answer;
    if (!vrdx::read_take_answer(packet, &answer))
        return;
    FUZZ_CHECK(answer.results.size() <= vrdx::takes_per_order_limit);
    for (const vrdx::output_result& each : answer.results) {
        FUZZ_CHECK(each.output >= 0);
        FUZZ_CHECK(!answer.all_confirmed || each.result.word == vrdx::take_word::confirmed);
        check_result(each.result);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::string_view input = as_text(data, size);
    vrdx::router_picture described;
    std::string next;
    vrdx::router_watch watch;
    comm_socket_v4_packet packet;
    for (std::uint64_t now = 1; next_packet(&input, &packet); ++now) {
        const bool page = vrdx::add_page(&described, packet, &next);
        check_picture(described);
        FUZZ_CHECK(!page || described.epoch.size() == 16);
        std::vector<vrdx::take_record> records;
        std::uint64_t from = 0;
        vrdx::add_record_page(packet, &records, &from);
        check_records(records);
        check_answer(packet);
        vrdx::watch_news news;
        const bool begins = std::string_view(comm_socket_v4_packet_get_command(&packet)) == "watch";
        const vrdx::watch_step step =
            begins ? vrdx::begin_watch(&watch, packet, now) : vrdx::add_news(&watch, packet, now, &news);
        if (!begins || step != vrdx::watch_step::other_epoch)
            check_watch(watch, step, news);
    }
    return 0;
}
