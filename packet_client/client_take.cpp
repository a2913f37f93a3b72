#include "client_take.h"

#include "client_limits.h"
#include "client_texts.h"
#include "plain_text.h"
#include "text.h"

#include <algorithm>
#include <array>
#include <limits>
#include <set>

namespace vrdx {

namespace {

struct known_word {
    take_word word;
    std::string_view text;
};

constexpr std::array<known_word, 7> known_words{{
    {take_word::confirmed, "confirmed"},
    {take_word::shows, "shows"},
    {take_word::refused, "refused"},
    {take_word::replaced_sent, "replaced sent"},
    {take_word::replaced_unsent, "replaced unsent"},
    {take_word::withdrawn, "withdrawn"},
    {take_word::unknown, "unknown"},
}};

bool is_printable(std::string_view text) {
    return std::none_of(text.begin(), text.end(), [](char c) {
        const auto byte = static_cast<unsigned char>(c);
        return byte < 0x20U || byte == 0x7fU;
    });
}

std::string takes_problem(const std::vector<output_take>& takes) {
    std::set<int> outputs;
    for (const output_take& each : takes) {
        if (each.output < 1 || each.sources.audio < source_none || each.sources.video < source_none)
            return "a take needs an output from 1 on and sources from 0 on";
        if (!outputs.insert(each.output).second)
            return "output " + std::to_string(each.output) + " stands in the order twice";
    }
    return {};
}

std::string expect_text(const std::vector<output_take>& expect) {
    std::string text;
    for (const output_take& each : expect)
        text += (text.empty() ? "" : " ") + take_text(each.output, each.sources);
    return text;
}

constexpr std::string_view result_entry = "output ";

// "output N" = a result.
void add_result(take_answer* answer, std::string_view name, std::string_view value) {
    if (!name.starts_with(result_entry) || answer->results.size() >= takes_per_order_limit)
        return;
    const auto output = number_of_digits<std::uint64_t>(name.substr(result_entry.size()));
    if (output && *output <= static_cast<std::uint64_t>(std::numeric_limits<int>::max()))
        answer->results.push_back({static_cast<int>(*output), take_result_in(value)});
}

} // namespace

std::string order_problem(const take_order& order) {
    if (order.takes.empty() || order.takes.size() > takes_per_order_limit)
        return "an order has 1 to " + std::to_string(takes_per_order_limit) + " takes";
    if (order.id.empty() || order.id.size() > take_id_limit || order.id.find('\0') != std::string::npos)
        return "an order's id has 1 to " + std::to_string(take_id_limit) + " bytes";
    if (order.within_ms != 0 &&
        (order.within_ms < take_within_shortest_ms || order.within_ms > take_within_longest_ms))
        return "takes are answered within " + std::to_string(take_within_shortest_ms) + " to " +
               std::to_string(take_within_longest_ms) + " milliseconds";
    if (order.by.size() > take_by_limit || !is_printable(order.by))
        return "who takes is told in at most " + std::to_string(take_by_limit) + " printable bytes";
    std::string problem = takes_problem(order.takes);
    return problem.empty() ? takes_problem(order.expect) : problem;
}

comm_socket_v4_packet take_request(const take_order& order) {
    comm_socket_v4_packet request;
    comm_socket_v4_packet_begin_writing(&request, 0, "take", nullptr);
    for (const output_take& each : order.takes)
        comm_socket_v4_packet_write_arg(&request, take_text(each.output, each.sources));
    comm_socket_v4_packet_write_argv_end(&request);
    comm_socket_v4_packet_write_nv_pair(&request, "id", order.id);
    if (order.within_ms != 0)
        comm_socket_v4_packet_write_nv_pairf(&request, "within", "%u", order.within_ms);
    if (!order.by.empty())
        comm_socket_v4_packet_write_nv_pair(&request, "by", order.by);
    if (!order.expect.empty())
        comm_socket_v4_packet_write_nv_pair(&request, "expect", expect_text(order.expect));
    if (order.until_ms != 0)
        comm_socket_v4_packet_write_nv_pair(&request, "until", std::to_string(order.until_ms));
    comm_socket_v4_packet_write_end(&request);
    return request;
}

std::uint64_t queue_take(driver_connection* connection, const take_order& order) {
    std::string problem = order_problem(order);
    if (problem.empty())
        return queue_request(connection, take_request(order));
    connection->problem = std::move(problem);
    return 0;
}

take_result take_result_in(std::string_view text) {
    take_result result;
    for (const known_word& each : known_words) {
        const bool alone = text == each.text;
        if (!alone && !(text.starts_with(each.text) && text[each.text.size()] == ' '))
            continue;
        result.word = each.word;
        text.remove_prefix(std::min(text.size(), each.text.size() + 1));
        break;
    }
    result.text = text_head(text, picture_text_limit);
    if (result.word == take_word::shows)
        result.sources = sources_in(text).value_or(level_sources{});
    return result;
}

const char* take_word_text(take_word word) {
    for (const known_word& each : known_words)
        if (each.word == word)
            return each.text.data();
    return "other";
}

bool read_take_answer(const comm_socket_v4_packet& packet, take_answer* answer) {
    const bool failed = is_error(packet);
    if (command_of(packet) != "take" && !failed)
        return false;
    *answer = {};
    answer->id = text_head(entry_value(packet, "id"), take_id_limit);
    answer->epoch = text_head(entry_value(packet, "epoch"), picture_text_limit);
    if (failed) {
        answer->error = error_text(packet);
        if (answer->error.empty())
            answer->error = "the driver does not say what is wrong";
        return true;
    }
    each_entry(packet,
               [answer](std::string_view name, std::string_view value) { add_result(answer, name, value); });
    answer->all_confirmed =
        packet.result == 0 && !answer->results.empty() &&
        std::all_of(answer->results.begin(), answer->results.end(),
                    [](const output_result& each) { return each.result.word == take_word::confirmed; });
    return true;
}

outcome take_until(driver_connection* connection, const take_order& order, take_answer* answer,
                   std::uint64_t deadline) {
    const std::uint64_t number = queue_take(connection, order);
    if (number == 0)
        return connection->fd < 0 ? outcome::gone : outcome::rejected;
    comm_socket_v4_packet packet;
    const outcome waited = wait_for_reply(connection, number, &packet, deadline);
    if (waited != outcome::done)
        return waited;
    read_take_answer(packet, answer); // next_packet() hands out nothing else as the answer to a take
    if (answer->error.empty())
        return outcome::done;
    connection->problem = answer->error;
    return outcome::refused;
}

} // namespace vrdx
