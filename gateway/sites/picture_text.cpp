#include "router_text.h"

namespace gateway {
namespace {

json record_object(const vrdx::take_record& record) {
    json object = {{"number", record.number},
                   {"time", record.time_ms},
                   {"way", record.way},
                   {"user", record.user},
                   {"process", record.process},
                   {"by", record.by},
                   {"output", record.output},
                   {"split", record.split_levels},
                   {"before", sources_array(record.before)},
                   {"wanted", sources_array(record.wanted)},
                   {"result", vrdx::take_word_text(record.result.word)},
                   {"text", record.result.text},
                   {"milliseconds", record.milliseconds}};
    if (record.result.word == vrdx::take_word::shows)
        object["sources"] = sources_array(record.result.sources);
    return object;
}

vrdx::take_record record_of(const json& object) {
    vrdx::take_record record;
    record.number = member<std::uint64_t>(object, "number");
    record.time_ms = member<std::uint64_t>(object, "time");
    record.way = member<std::string>(object, "way");
    record.user = member<std::uint64_t>(object, "user");
    record.process = member<std::uint64_t>(object, "process");
    record.by = member<std::string>(object, "by");
    record.output = member<int>(object, "output");
    record.split_levels = member<bool>(object, "split");
    record.before = sources_of(object.at("before"));
    record.wanted = sources_of(object.at("wanted"));
    record.result.word = take_word_of(member<std::string>(object, "result"));
    record.result.text = member<std::string>(object, "text");
    if (const auto sources = object.find("sources"); sources != object.end())
        record.result.sources = sources_of(*sources);
    record.milliseconds = member<std::uint64_t>(object, "milliseconds");
    return record;
}

} // namespace

vrdx::take_word take_word_of(const std::string& text) {
    constexpr auto last = static_cast<int>(vrdx::take_word::other);
    for (int word = 0; word < last; word++)
        if (text == vrdx::take_word_text(static_cast<vrdx::take_word>(word)))
            return static_cast<vrdx::take_word>(word);
    return vrdx::take_word::other;
}

std::string change_text(const change_message& change, const router_excerpt& router,
                        const vrdx::picture_news& places) {
    json message = {
        {"v", site_message_version}, {"run", change.run}, {"from", change.from}, {"to", change.to}};
    if (change.anew)
        message["anew"] = true;
    add_head(&message, router);
    for (const int number : places.inputs)
        message["inputs"].push_back(input_object(router.picture, number));
    for (const int number : places.outputs)
        message["outputs"].push_back(output_object(router, number));
    for (const vrdx::take_record& record : change.takes)
        message["takes"].push_back(record_object(record));
    if (change.takes_lost > 0)
        message["takes_lost"] = change.takes_lost;
    std::string text = message_text(message);
    return text.size() > change_bytes_limit ? std::string() : text;
}

std::optional<change_message> read_change(const std::string& text) {
    return read_message<change_message>(text, [](const json& object, change_message* change) {
        change->run = object.at("run").get<std::string>();
        change->from = object.at("from").get<std::uint64_t>();
        change->to = object.at("to").get<std::uint64_t>();
        change->anew = member<bool>(object, "anew");
        for (const json& each : array_member(object, "takes"))
            change->takes.push_back(record_of(each));
        change->takes_lost = member<std::uint64_t>(object, "takes_lost");
        return change->from < change->to && read_router(object, &change->router);
    });
}

std::string page_text(const std::string& run, std::uint64_t at, const router_excerpt& router,
                      std::size_t begin) {
    json message = {{"v", site_message_version}, {"run", run}, {"at", at}};
    add_head(&message, router);
    const std::size_t inputs = router.picture.inputs.size(), all = inputs + router.picture.outputs.size();
    std::size_t bytes = 0, place = begin;
    for (; place < all && bytes < page_bytes_aim; place++) {
        const bool is_input = place < inputs;
        const auto number = static_cast<int>(is_input ? place : place - inputs) + 1;
        json object = is_input ? input_object(router.picture, number) : output_object(router, number);
        bytes += message_text(object).size();
        message[is_input ? "inputs" : "outputs"].push_back(std::move(object));
    }
    if (place < all)
        message["next"] = place;
    return message_text(message);
}

std::optional<page_message> read_page(const std::string& text) {
    return read_message<page_message>(text, [](const json& object, page_message* page) {
        page->run = object.at("run").get<std::string>();
        page->at = object.at("at").get<std::uint64_t>();
        if (const auto next = object.find("next"); next != object.end())
            page->next = next->get<std::size_t>();
        return read_router(object, &page->router);
    });
}

std::string page_request_text(std::size_t begin) {
    return message_text({{"v", site_message_version}, {"begin", begin}});
}

std::optional<std::size_t> read_page_request(const std::string& text) {
    struct request {
        int version = 0;
        std::size_t begin = 0;
    };
    const auto read = read_message<request>(text, [](const json& object, request* asked) {
        asked->begin = member<std::size_t>(object, "begin");
        return true;
    });
    return read && read->version == site_message_version ? std::optional(read->begin) : std::nullopt;
}

} // namespace gateway
