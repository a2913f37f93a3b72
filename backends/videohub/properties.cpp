#include "conversation_parts.h"

#include <algorithm>
#include <optional>

namespace {

// The send queue is bounded, and no router is known that accepts more.
constexpr std::size_t most_text = 48UL * 1024;
constexpr std::ptrdiff_t most_unanswered = 4;

struct property_block {
    const char* header;
    const char* property;
    videohub_bank bank;
    bool of_output;
};

constexpr property_block blocks[] = {
    {"INPUT LABELS", "name", videohub_bank::video, false},
    {"OUTPUT LABELS", "name", videohub_bank::video, true},
    {"VIDEO OUTPUT LOCKS", "lock", videohub_bank::video, true},
    {"MONITORING OUTPUT LABELS", "name", videohub_bank::monitoring, true},
    {"MONITORING OUTPUT LOCKS", "lock", videohub_bank::monitoring, true},
    {"SERIAL PORT LABELS", "name", videohub_bank::serial, false},
    {"SERIAL PORT LABELS", "name", videohub_bank::serial, true},
    {"SERIAL PORT LOCKS", "lock", videohub_bank::serial, true},
};

// What the router is sent for a property's value; nothing: it does not know such a value.
std::optional<std::string> entry_of(const endpoint_property& property) {
    if (property.name != "lock") {
        return property.value;
    }
    for (const auto& [word, letter] :
         {std::pair("own", "O"), std::pair("free", "U"), std::pair("force", "F")}) {
        if (property.value == word) {
            return letter;
        }
    }
    return std::nullopt;
}

bool router_keeps_up(const videohub_conversation& conversation) {
    const auto is_set = [](const sent_block& block) { return block.kind == sent_block::properties; };
    return std::count_if(conversation.unanswered.begin(), conversation.unanswered.end(), is_set) <
           most_unanswered;
}

void send_properties(videohub_conversation& conversation, const property_block& kind,
                     const std::vector<endpoint_property>& properties, std::uint64_t now) {
    const videohub_bank_ports ports = videohub_ports_of(conversation.model, kind.bank);
    const int first = kind.of_output ? ports.first_output : ports.first_input;
    std::map<int, std::string> entries;
    for (const endpoint_property& property : properties) {
        entries[property.number - first] = entry_of(property).value();
    }
    const std::string text = videohub_block_text(kind.header, entries);
    if (text.size() > most_text) {
        warn(conversation.driver, "names refused: they are too long");
    } else if (!router_keeps_up(conversation)) {
        warn(conversation.driver, "names refused: the router has not answered the ones before");
    } else {
        sent_block block;
        block.kind = sent_block::properties;
        block.set = properties;
        block.sent = now;
        conversation.unanswered.push_back(std::move(block));
        conversation.router.to_router += text;
    }
}

} // namespace

void set_properties(videohub_conversation& conversation, const std::vector<endpoint_property>& properties,
                    std::uint64_t now) {
    const auto bank_of = [&](const endpoint_property& property) {
        return property.of_output ? videohub_bank_of_output(conversation.model, property.number)
                                  : videohub_bank_of_input(conversation.model, property.number);
    };
    std::size_t sent = 0;
    for (const property_block& block : blocks) {
        std::vector<endpoint_property> of_block;
        std::copy_if(properties.begin(), properties.end(), std::back_inserter(of_block),
                     [&](const endpoint_property& property) {
                         return property.of_output == block.of_output && property.name == block.property &&
                                bank_of(property) == block.bank && entry_of(property).has_value();
                     });
        if (!of_block.empty()) {
            send_properties(conversation, block, of_block, now);
        }
        sent += of_block.size();
    }
    const std::size_t skipped = properties.size() - sent;
    if (skipped > 0) {
        warn(conversation.driver, std::to_string(skipped) + (skipped == 1 ? " property" : " properties") +
                                      " skipped that this router does not have");
    }
}
