#include "asked_takes.h"

#include "gateway/routers/lane_request.h"
#include "site_limits.h"
#include "subjects.h"

#include <algorithm>
#include <boost/asio/post.hpp>
#include <utility>

namespace gateway {

struct asked_takes::open_ask {
    std::string site, lane;
    std::string id;           // of the order
    std::vector<int> outputs; // empty for a name
    take_done done;           // empty once it has ended
};

namespace {

using kind = decltype(take_ending::kind);

// The same for each output.
take_ending all_of_them(const std::string& id, const std::vector<int>& outputs, const char* result,
                        const std::string& reason) {
    take_ending ending;
    ending.kind = kind::answered;
    ending.answer.id = id;
    for (const int output : outputs)
        ending.owner_answers.push_back({output, result, reason, {}, {}});
    if (outputs.empty())
        ending.answer.error = reason;
    return ending;
}

// What was heard may have been done, unless its owner says otherwise.
take_ending ending_of(const std::string& id, const std::vector<int>& outputs, reply_kind how,
                      const std::string& data, const std::string& site) {
    if (how == reply_kind::nobody)
        return all_of_them(id, outputs, "refused", "nobody at site " + site + " listens to this site");
    if (how == reply_kind::late)
        return all_of_them(id, outputs, "unknown", "site " + site + " has not answered in time");
    if (how == reply_kind::link_lost)
        return all_of_them(id, outputs, "unknown", "the way to site " + site + " broke");
    const auto answer = read_ask_answer(data);
    if (!answer)
        return all_of_them(id, outputs, "unknown", "site " + site + " answers what cannot be read");
    if (answer->ended == "refused")
        return all_of_them(id, outputs, "refused", answer->reason);
    if (answer->ended == "too many")
        return too_many(answer->reason);
    if (answer->ended == "unavailable")
        return unavailable(answer->reason);
    if (answer->ended == "unknown")
        return all_of_them(id, outputs, "unknown", answer->reason);
    if (outputs.empty() && answer->ended == "done")
        return all_of_them(id, {}, "", {});
    const bool fits =
        answer->ended == "done" &&
        std::equal(outputs.begin(), outputs.end(), answer->outputs.begin(), answer->outputs.end(),
                   [](int output, const owner_answer& said) { return output == said.output; });
    if (!fits)
        return all_of_them(id, outputs, "unknown", "site " + site + " answers something else");
    take_ending ending;
    ending.kind = kind::answered;
    ending.answer.id = id;
    ending.owner_answers = answer->outputs;
    return ending;
}

} // namespace

// From the loop and not from here: whoever is told may ask for the next thing at once.
void asked_takes::refuse(take_done done, take_ending ending) {
    boost::asio::post(
        loop_, [called = std::move(done), told = std::move(ending)]() mutable { called(std::move(told)); });
}

void asked_takes::end(const std::shared_ptr<open_ask>& ask, take_ending ending) {
    std::erase(open_, ask);
    if (take_done done = std::exchange(ask->done, nullptr))
        refuse(std::move(done), std::move(ending));
}

// False: it was refused.
bool asked_takes::begin(const far_site& site, const std::string& router, const std::string& lane,
                        take_done* done) {
    const far_router* found = site.find(router);
    std::string refused = site.refuses();
    if (refused.empty())
        refused = found == nullptr ? "There is no such router." : found->refuses_takes();
    if (!refused.empty()) {
        refuse(std::move(*done), unavailable(refused));
        return false;
    }
    std::size_t of_site = 0, of_lane = 0;
    for (const auto& each : open_)
        if (each->site == site.name()) {
            of_site++;
            of_lane += each->lane == lane ? 1 : 0;
        }
    if (of_site < far_site_requests_limit && of_lane < far_lane_requests_limit)
        return true;
    refuse(std::move(*done),
           too_many("There are " + std::to_string(of_lane) + " requests to site " + site.name() +
                    " without an answer; the next one is possible after one of them."));
    return false;
}

void asked_takes::send(const far_site& site, const std::string& subject, std::string text,
                       std::uint64_t within_ms, const std::shared_ptr<open_ask>& ask) {
    ask->site = site.name();
    open_.push_back(ask);
    const bool sent =
        around_.requests.ask(subject, std::move(text), around_.now_ms() + within_ms,
                             [this, ask](reply_kind how, const std::string& data) {
                                 end(ask, ending_of(ask->id, ask->outputs, how, data, ask->site));
                             });
    if (!sent)
        end(ask, unavailable("It was not sent: this gateway has no way to site " + site.name() + " now."));
}

void asked_takes::take(const far_site& site, const std::string& router, const std::string& lane,
                       const vrdx::take_order& order, bool all_or_nothing, take_done done) {
    if (!begin(site, router, lane, &done))
        return;
    const auto ask = std::make_shared<open_ask>();
    ask->lane = lane;
    ask->id = order.id;
    ask->done = std::move(done);
    for (const vrdx::output_take& each : order.takes)
        ask->outputs.push_back(each.output);
    const take_ask message{site_message_version, site.beat(), order.by,    order.within_ms,
                           all_or_nothing,       order.takes, order.expect};
    const std::uint64_t within = order.within_ms != 0 ? order.within_ms : vrdx::take_within_usual_ms;
    send(site, router_subject(site.name(), router, "take", own_site_), take_ask_text(message),
         within + far_late_answer_ms, ask);
}

void asked_takes::rename(const far_site& site, const std::string& router, const std::string& lane,
                         const name_ask& wish, take_done done) {
    if (!begin(site, router, lane, &done))
        return;
    const auto ask = std::make_shared<open_ask>();
    ask->lane = lane;
    ask->done = std::move(done);
    name_ask message = wish;
    message.beat = site.beat();
    send(site, router_subject(site.name(), router, "name", own_site_), name_ask_text(message),
         far_rename_answer_ms, ask);
}

void asked_takes::drop_lane(const std::string& lane) {
    const auto open = open_;
    for (const auto& each : open)
        if (each->lane == lane)
            end(each, all_of_them(each->id, each->outputs, "unknown", "who asked may not any more"));
}

} // namespace gateway
