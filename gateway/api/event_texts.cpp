#include "event_texts.h"

#include "time_text.h"

namespace gateway {

namespace {

shared_text shared(std::string text) {
    return std::make_shared<const std::string>(std::move(text));
}

shared_text shared(const json& value) {
    return shared(json_text(value));
}

// Appends what `write` makes of the numbers from 1 to `last`, as the elements of an array; drops those
// numbers.
template<typename writer>
void append_places(std::string* text, std::vector<int>* numbers, std::size_t last, std::size_t most_bytes,
                   const writer& write) {
    std::size_t used = 0;
    bool first = true;
    for (; used < numbers->size() && text->size() < most_bytes; used++) {
        const int number = (*numbers)[used];
        if (number < 1 || static_cast<std::size_t>(number) > last)
            continue;
        if (!std::exchange(first, false))
            *text += ',';
        *text += json_text(write(number));
    }
    numbers->erase(numbers->begin(), numbers->begin() + static_cast<std::ptrdiff_t>(used));
}

} // namespace

shared_text change_text(const shown_router& router, const router_locks* locks, std::vector<int>* inputs,
                        std::vector<int>* outputs, std::size_t most_bytes) {
    const vrdx::router_picture& picture = router.picture;
    std::string text = json_text({{"type", "change"},
                                  {"router", router.name},
                                  {"epoch", picture.epoch},
                                  {"sequence", picture.sequence}});
    text.back() = ','; // was the closing brace
    text += "\"inputs\":[";
    append_places(&text, inputs, picture.inputs.size(), most_bytes,
                  [&](int number) { return input_json(picture, number); });
    text += "],\"outputs\":[";
    append_places(&text, outputs, picture.outputs.size(), most_bytes, [&](int number) {
        const output_lock* lock = nullptr;
        if (locks != nullptr)
            if (const auto found = locks->find(number); found != locks->end())
                lock = &found->second;
        return output_json(router, number, lock);
    });
    text += "],\"more\":";
    text += inputs->empty() && outputs->empty() ? "false}" : "true}";
    return shared(std::move(text));
}

shared_text router_text(const std::string& name, const shown_router* router) {
    json message{{"type", "router"}, {"router", name}};
    if (router == nullptr) {
        message["state"] = "gone";
        message["reason"] = "Neither its item nor its socket is left.";
        message["since"] = rfc3339(milliseconds_since_1970());
        message["last_error"] = nullptr;
        return shared(message);
    }
    message["state"] = router_state_word(router->state);
    message["reason"] = router->reason;
    message["since"] = rfc3339(router->since_ms);
    message["last_error"] = last_error_json(*router);
    return shared(message);
}

shared_text take_text(const shown_router& router, const vrdx::take_record& record) {
    const bool split = router.picture.split_levels || record.split_levels;
    json message{{"type", "take"},
                 {"router", router.name},
                 {"number", record.number},
                 {"time", rfc3339(record.time_ms)},
                 {"way", record.way},
                 {"who", who_json(record.user, record.process, record.by)},
                 {"before", sources_json(split, record.before)},
                 {"wanted", sources_json(split, record.wanted)}};
    message.update(result_json(answer_of(record.output, record.result), split));
    message["milliseconds"] = record.milliseconds;
    return shared(message);
}

shared_text lost_text(const std::string& router, std::uint64_t takes) {
    return shared(json{{"type", "lost"}, {"router", router}, {"takes", takes}});
}

shared_text alive_text(std::uint64_t ms_since_1970) {
    return shared(json{{"type", "alive"}, {"time", rfc3339(ms_since_1970)}});
}

shared_text alarm_text(const shown_router& router, const lock_alarm& alarm, const output_lock& lock,
                       std::uint64_t ms_since_1970) {
    const auto& output = router.picture.outputs[static_cast<std::size_t>(alarm.output - 1)];
    json message{{"type", "alarm"},
                 {"router", router.name},
                 {"time", rfc3339(ms_since_1970)},
                 {"output", alarm.output},
                 {"before", sources_json(router.picture.split_levels, alarm.before)},
                 {"now", sources_json(router.picture.split_levels, alarm.now)},
                 {"lock", lock_json(&lock)}};
    message["taken_by"] =
        output.taken ? who_json(output.taken->user, output.taken->process, output.taken->by) : json();
    return shared(message);
}

} // namespace gateway
