// What other sites and the broker say: nothing of it is beyond the limits, and what was read is read again
// from what is written of it.
#include "gateway/sites/history_message.h"
#include "gateway/sites/site_limits.h"
#include "gateway/sites/site_messages.h"
#include "gateway/sites/stream_texts.h"
#include "gateway/sites/subjects.h"
#include "target.h"

using namespace gateway;

namespace {

void check_subject(const std::string& text) {
    if (const auto name = name_of_escaped(text))
        FUZZ_CHECK(escaped_name(*name) == text);
    if (const auto address = router_address_of(text))
        FUZZ_CHECK(router_subject(address->site, address->router, address->what, address->from) == text ||
                   address->router == "*" || address->from.empty());
    if (const auto site = site_of_history_subject(text))
        FUZZ_CHECK(history_subject(*site) == text);
    // What is written of any name is read as that name.
    if (!text.empty())
        FUZZ_CHECK(name_of_escaped(escaped_name(text)) == text);
}

void check_alive(const std::string& text) {
    const auto alive = read_alive(text);
    if (!alive || alive->version != site_message_version)
        return;
    FUZZ_CHECK(alive->routers.size() <= routers_per_site_limit);
    const auto again = read_alive(alive_text(*alive));
    FUZZ_CHECK(again && again->beat == alive->beat && again->routers.size() == alive->routers.size());
    for (std::size_t at = 0; at < alive->routers.size(); at++)
        FUZZ_CHECK(again->routers[at].router == alive->routers[at].router &&
                   again->routers[at].at == alive->routers[at].at);
}

void check_router(const told_router& told) {
    for (const auto& each : told.inputs)
        FUZZ_CHECK(each.first >= 1 && static_cast<std::size_t>(each.first) <= told.input_count);
    for (const auto& each : told.outputs)
        FUZZ_CHECK(each.first >= 1 && static_cast<std::size_t>(each.first) <= told.output_count);
    FUZZ_CHECK(told.input_count <= vrdx::picture_inputs_limit);
    FUZZ_CHECK(told.output_count <= vrdx::picture_outputs_limit);
}

void check_pictures(const std::string& text) {
    if (const auto change = read_change(text); change && change->version == site_message_version)
        check_router(change->router);
    if (const auto page = read_page(text); page && page->version == site_message_version)
        check_router(page->router);
    if (const auto begin = read_page_request(text))
        FUZZ_CHECK(read_page_request(page_request_text(*begin)) == begin);
}

void check_asks(const std::string& text) {
    if (const auto ask = read_take_ask(text); ask && ask->version == site_message_version) {
        const auto again = read_take_ask(take_ask_text(*ask));
        FUZZ_CHECK(again && again->beat == ask->beat && again->takes.size() == ask->takes.size() &&
                   again->expect.size() == ask->expect.size() && again->within_ms == ask->within_ms);
    }
    if (const auto ask = read_name_ask(text); ask && ask->version == site_message_version) {
        const auto again = read_name_ask(name_ask_text(*ask));
        FUZZ_CHECK(again && again->number == ask->number && again->output == ask->output);
    }
    if (const auto answer = read_ask_answer(text); answer && answer->version == site_message_version) {
        const auto again = read_ask_answer(ask_answer_text(*answer));
        FUZZ_CHECK(again && again->outputs.size() == answer->outputs.size());
    }
}

void check_history(const std::string& text) {
    const auto message = read_history_message(text);
    if (!message || message->version != site_message_version)
        return;
    const history_entry& entry = message->told.entry;
    FUZZ_CHECK(entry.site_number > 0 && entry.time_us > 0 && entry.number >= 0 && entry.output >= 0 &&
               entry.count >= 0 && entry.site.empty());
    const std::string written = history_text(message->told);
    const auto again = read_history_message(written);
    FUZZ_CHECK(again && history_text(again->told) == written);
    FUZZ_CHECK(again->told.entry.router == entry.router && again->told.share == message->told.share);
    const far_entry kept = entry_of_site("north", message->told);
    FUZZ_CHECK(
        kept.entry.site == "north" &&
        (entry.router.empty() ? kept.entry.router.empty() : kept.entry.router == "north:" + entry.router));
}

void check_stream(const std::string& text) {
    const stream_state state = read_stream_state(text);
    FUZZ_CHECK(!state.said.problem.empty() || text.find("state") != std::string::npos);
    const stream_message message = read_stream_message(text);
    FUZZ_CHECK(!message.said.problem.empty() || message.data.size() <= text.size());
    FUZZ_CHECK(!read_stored(text).said.problem.empty() || text.find("seq") != std::string::npos);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(as_text(data, size));
    check_subject(text);
    check_alive(text);
    check_pictures(text);
    check_asks(text);
    check_history(text);
    check_stream(text);
    return 0;
}
