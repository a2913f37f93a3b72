#include "labels.h"

#include "whole_number.h"

#include <algorithm>
#include <optional>
#include <string_view>

namespace {

// The send queue is bounded, and nothing of a router is known that likes more.
constexpr std::size_t most_text = 48UL * 1024;
constexpr std::ptrdiff_t most_unanswered = 4;

// The N of "PREFIX.N.name", when there are more than N ports.
std::optional<int> named_port(std::string_view key, std::string_view prefix, std::size_t ports) {
    constexpr std::string_view suffix = ".name";
    if (!key.starts_with(prefix) || !key.ends_with(suffix) || key.size() <= prefix.size() + suffix.size()) {
        return std::nullopt;
    }
    key.remove_prefix(prefix.size());
    key.remove_suffix(suffix.size());
    const std::optional<int> number = whole_number(key);
    if (!number || *number < 0 || static_cast<std::size_t>(*number) >= ports) {
        return std::nullopt;
    }
    return number;
}

bool router_keeps_up(const videohub_conversation& conversation) {
    const auto is_labels = [](const sent_block& block) { return block.kind == sent_block::labels; };
    return std::count_if(conversation.unanswered.begin(), conversation.unanswered.end(), is_labels) <
           most_unanswered;
}

void send_labels(videohub_conversation& conversation, const char* header,
                 const std::map<int, std::string>& labels, std::uint64_t now) {
    if (labels.empty()) {
        return;
    }
    const std::string text = videohub_block_text(header, labels);
    if (text.size() > most_text) {
        warn(conversation, "names refused: they are too long");
    } else if (!router_keeps_up(conversation)) {
        warn(conversation, "names refused: the router has not answered the ones before");
    } else {
        conversation.unanswered.push_back({sent_block::labels, {}, now});
        conversation.to_router += text;
    }
}

} // namespace

void set_labels(videohub_conversation& conversation, const TavrixAPIRouterMessage& message,
                std::uint64_t now) {
    if (conversation.state != conversation_state::ready) {
        warn(conversation, "names refused: " + why_not_ready(conversation));
        return;
    }
    std::map<int, std::string> inputs;
    std::map<int, std::string> outputs;
    int skipped = 0;
    for (const auto& [key, value] : message.fields) {
        if (const auto input = named_port(key, "input.", conversation.model.inputs.size())) {
            inputs[*input] = value;
        } else if (const auto output = named_port(key, "output.", conversation.model.outputs.size())) {
            outputs[*output] = value;
        } else {
            ++skipped;
        }
    }
    if (skipped > 0) {
        warn(conversation, std::to_string(skipped) + (skipped == 1 ? " property" : " properties") +
                               " skipped that this router does not have");
    }
    send_labels(conversation, "INPUT LABELS", inputs, now);
    send_labels(conversation, "OUTPUT LABELS", outputs, now);
}
