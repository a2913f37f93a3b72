#include "asked_stream.h"

#include <sstream>
#include <string_view>

namespace gateway {

namespace {

constexpr std::string_view service_begin = "$JS.API.", domain_begin = "$JS.vrdx.API.";

std::vector<broker_question> in_domain(std::vector<broker_question> questions) {
    for (broker_question& each : questions)
        each.subject.replace(0, service_begin.size(), domain_begin);
    return questions;
}

} // namespace

std::vector<broker_answer> ask_service(const ask_broker& ask, const std::vector<broker_question>& questions,
                                       bool* by_domain) {
    if (questions.empty() || !questions.front().subject.starts_with(service_begin))
        return ask(questions);
    auto answers = ask(*by_domain ? in_domain(questions) : questions);
    if (!answers.front().nobody)
        return answers;
    *by_domain = !*by_domain;
    return ask(*by_domain ? in_domain(questions) : questions);
}

bool ask_stream_state(const ask_broker& ask, stream_state* now, std::string* problem) {
    const broker_answer asked = ask({{stream_info_subject(), {}, {}}}).front();
    if (asked.came)
        *now = read_stream_state(asked.data);
    else
        *problem = asked.nobody
                       ? "the broker keeps no streams: its JetStream is off, or away behind a leaf node"
                       : "the broker does not answer a question about its stream";
    return asked.came;
}

stream_mark mark_of(const stream_state& now) {
    return {now.created, now.first, now.messages > 0 ? now.first_time : std::string()};
}

std::string mark_text(const stream_mark& mark) {
    if (mark.created.empty())
        return {};
    return mark.created + ' ' + std::to_string(mark.first) + ' ' + mark.first_time;
}

stream_mark mark_of_text(const std::string& text) {
    stream_mark mark;
    std::istringstream words(text);
    words >> mark.created >> mark.first >> mark.first_time;
    return mark;
}

// A broker that was started anew without its files may make the same stream once more, empty: in a cluster
// the others know when it was made. Its first message is then another one.
bool is_same_stream(const stream_mark& before, const stream_state& now) {
    if (before.created != now.created || now.first < before.first)
        return false;
    return now.first > before.first || before.first_time.empty() || before.first_time == now.first_time;
}

} // namespace gateway
