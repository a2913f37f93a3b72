#include "stream_texts.h"

#include "history_message.h"
#include "json_members.h"

#include <sodium.h>

namespace gateway {
namespace {

constexpr const char* api_subject = "$JS.API.STREAM.";
constexpr int no_stream_code = 10059, no_message_code = 10037;

// Calls `read` with the answer when it is none of a problem.
template<typename reader> stream_answer answer_in(const std::string& text, const reader& read) {
    stream_answer said;
    try {
        const json object = json::parse(text);
        const auto error = object.find("error");
        if (error == object.end()) {
            read(object);
            return said;
        }
        const int code = member<int>(*error, "err_code");
        said.no_stream = code == no_stream_code;
        said.no_message = code == no_message_code;
        said.problem = "the broker says: " + member<std::string>(*error, "description", "no");
    } catch (const json::exception&) {
        said.problem = "the broker's answer cannot be read";
    }
    return said;
}

bool decode(const std::string& text, std::string* bytes) {
    bytes->resize(text.size());
    std::size_t length = 0;
    const int result =
        sodium_base642bin(reinterpret_cast<unsigned char*>(bytes->data()), bytes->size(), text.data(),
                          text.size(), nullptr, &length, nullptr, sodium_base64_VARIANT_ORIGINAL);
    bytes->resize(result == 0 ? length : 0);
    return result == 0;
}

} // namespace

std::string stream_info_subject() {
    return std::string(api_subject) + "INFO." + history_stream_name;
}

std::string stream_create_subject() {
    return std::string(api_subject) + "CREATE." + history_stream_name;
}

std::string stream_message_subject() {
    return std::string(api_subject) + "MSG.GET." + history_stream_name;
}

// The oldest go when it is full: the site itself keeps them longer.
std::string stream_create_text() {
    constexpr std::int64_t ns_per_s = 1000000000;
    return message_text({{"name", history_stream_name},
                         {"subjects", {history_stream_subjects}},
                         {"retention", "limits"},
                         {"storage", "file"},
                         {"discard", "old"},
                         {"num_replicas", 1},
                         {"max_consumers", -1},
                         {"max_msgs", -1},
                         {"max_bytes", stream_bytes_limit},
                         {"max_age", stream_longest_s * ns_per_s},
                         {"duplicate_window", stream_doubles_s * ns_per_s}});
}

std::string stream_message_request(std::uint64_t sequence) {
    return message_text({{"seq", sequence}});
}

stored_entry read_stored(const std::string& text) {
    stored_entry stored;
    stored.said = answer_in(text, [&](const json& object) {
        stored.sequence = object.at("seq").get<std::uint64_t>();
        stored.was_there = member<bool>(object, "duplicate");
    });
    return stored;
}

stream_state read_stream_state(const std::string& text) {
    stream_state state;
    state.said = answer_in(text, [&](const json& object) {
        const json& now = object.at("state");
        state.created = object.at("created").get<std::string>();
        state.first = now.at("first_seq").get<std::uint64_t>();
        state.last = now.at("last_seq").get<std::uint64_t>();
        state.messages = now.at("messages").get<std::uint64_t>();
        state.first_time = member<std::string>(now, "first_ts");
    });
    return state;
}

stream_message read_stream_message(const std::string& text) {
    stream_message read;
    read.said = answer_in(text, [&](const json& object) {
        const json& message = object.at("message");
        read.subject = message.at("subject").get<std::string>();
        if (!decode(member<std::string>(message, "data"), &read.data))
            read.data.clear(); // then it is no message of a site
    });
    return read;
}

} // namespace gateway
