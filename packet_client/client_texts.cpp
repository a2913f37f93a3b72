#include "client_texts.h"

#include "client_limits.h"
#include "plain_text.h"

namespace vrdx {

namespace {

std::optional<int> source_in(std::string_view text) {
    if (text == "unknown")
        return source_unknown;
    const auto number = number_of_digits<std::uint64_t>(text);
    if (!number || *number > picture_inputs_limit)
        return std::nullopt;
    return static_cast<int>(*number);
}

} // namespace

std::uint64_t number_or_0(std::string_view text) {
    return number_of_digits<std::uint64_t>(text).value_or(0);
}

std::string_view cut_word(std::string_view* text, char separator) {
    const std::size_t at = text->find(separator);
    const std::string_view word = text->substr(0, at);
    text->remove_prefix(at == std::string_view::npos ? text->size() : at + 1);
    return word;
}

std::optional<level_sources> sources_in(std::string_view text) {
    const std::size_t comma = text.find(',');
    if (comma == std::string_view::npos)
        return std::nullopt;
    const auto audio = source_in(text.substr(0, comma));
    const auto video = source_in(text.substr(comma + 1));
    if (!audio || !video)
        return std::nullopt;
    return level_sources{*audio, *video};
}

std::string take_text(int output, const level_sources& sources) {
    std::string text = std::to_string(output) + "=" + std::to_string(sources.audio);
    if (sources.audio != sources.video)
        text += "," + std::to_string(sources.video);
    return text;
}

std::string_view entry_value(const comm_socket_v4_packet& packet, std::string_view name) {
    for (const std::uint32_t index : packet.entries)
        if (comm_socket_v4_packet_item_name(&packet, packet.items[index]) == name)
            return comm_socket_v4_packet_item_value(&packet, packet.items[index]);
    return {};
}

bool has_entry(const comm_socket_v4_packet& packet, std::string_view name) {
    return entry_value(packet, name).data() != nullptr;
}

} // namespace vrdx
