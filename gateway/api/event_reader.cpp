#include "event_reader.h"

#include "gateway/access/rights.h"
#include "gateway/settings/limits.h"

#include <algorithm>

namespace gateway {

namespace {

// Adds numbers to a list that is sorted and has each once. How many were new.
std::size_t merge_numbers(std::vector<int>* known, const std::vector<int>& added) {
    const std::size_t before = known->size();
    for (const int number : added) {
        const auto at = std::lower_bound(known->begin(), known->end(), number);
        if (at == known->end() || *at != number)
            known->insert(at, number);
    }
    return known->size() - before;
}

} // namespace

bool event_reader::sees(std::string_view router) const {
    const auto& named = wish_.routers;
    return may_see(*wish_.who, router) &&
           (named.empty() || std::find(named.begin(), named.end(), router) != named.end());
}

void event_reader::push(const std::shared_ptr<const told_event>& event) {
    if (event->what == told_event::kind::once)
        push_once(event);
    else if (untold_.contains(event->router))
        fold(*event);
    else {
        queue_.push_back(event);
        queue_bytes_ += event->text->size();
    }
    wake();
    if (queue_bytes_ > event_queue_bytes_limit || queue_.size() > event_queue_limit)
        fold_queue();
}

void event_reader::push_picture(const std::string& router) {
    untold& waiting = untold_[router];
    untold_numbers_ -= waiting.inputs.size() + waiting.outputs.size();
    waiting = {.picture = true, .state = waiting.state, .inputs = {}, .outputs = {}};
    wake();
}

void event_reader::push_behind_pictures(const std::shared_ptr<const told_event>& event) {
    behind_pictures_.push_back(event);
    wake();
}

void event_reader::push_alive(const shared_text& text) {
    alive_ = text;
    wake();
}

void event_reader::push_lost(const std::string& router, std::uint64_t takes) {
    lost_[router] += takes;
    wake();
}

void event_reader::end(const std::string& why) {
    if (sink_ != nullptr)
        sink_->close(close_policy, why);
}

void event_reader::wake() {
    if (sink_ != nullptr)
        sink_->wake();
}

// Keeps of a message only what it was about.
void event_reader::fold(const told_event& event) {
    untold& waiting = untold_[event.router];
    if (event.what == told_event::kind::state)
        waiting.state = true;
    if (waiting.picture)
        return;
    untold_numbers_ += merge_numbers(&waiting.inputs, event.inputs);
    untold_numbers_ += merge_numbers(&waiting.outputs, event.outputs);
    if (waiting.inputs.size() + waiting.outputs.size() > event_numbers_of_router_limit ||
        untold_numbers_ > event_numbers_limit)
        push_picture(event.router);
}

void event_reader::fold_queue() {
    for (const auto& event : queue_)
        fold(*event);
    queue_.clear();
    queue_bytes_ = 0;
}

void event_reader::push_once(const std::shared_ptr<const told_event>& event) {
    once_.push_back(event);
    once_bytes_ += event->text->size();
    while (once_.size() > 1 && (once_bytes_ > event_once_bytes_limit || once_.size() > event_once_limit)) {
        lost_[once_.front()->router]++;
        once_bytes_ -= once_.front()->text->size();
        once_.pop_front();
    }
}

std::size_t event_reader::own_bytes() const {
    return queue_bytes_ + once_bytes_ + merged_bytes_ + untold_numbers_ * sizeof(int);
}

void event_reader::begun(event_sink* sink) {
    sink_ = sink;
}

void event_reader::ended() {
    sink_ = nullptr;
    supply_->reader_ended(this);
}

shared_text event_reader::next() {
    merged_bytes_ = 0;
    once_first_ = !once_first_;
    if (once_first_)
        if (shared_text text = next_once())
            return text;
    if (!queue_.empty()) {
        shared_text text = queue_.front()->text;
        queue_bytes_ -= text->size();
        queue_.pop_front();
        return text;
    }
    if (!untold_.empty())
        return next_untold();
    if (once_.empty() && !behind_pictures_.empty()) { // one by one: together they may be too many
        push_once(behind_pictures_.front());
        behind_pictures_.pop_front();
    }
    if (shared_text text = next_once())
        return text;
    return std::exchange(alive_, nullptr);
}

// Those that were lost are older than those that are kept.
shared_text event_reader::next_once() {
    if (!lost_.empty()) {
        const auto [router, takes] = *lost_.begin();
        lost_.erase(lost_.begin());
        return lost_text(router, takes);
    }
    if (once_.empty())
        return nullptr;
    shared_text text = once_.front()->text;
    once_bytes_ -= text->size();
    once_.pop_front();
    return text;
}

shared_text event_reader::next_untold() {
    auto at = untold_.upper_bound(told_last_);
    if (at == untold_.end())
        at = untold_.begin();
    told_last_ = at->first;
    untold& waiting = at->second;
    const shown_router* router = supply_->find(at->first);
    shared_text text;
    if (router == nullptr || waiting.state) {
        text = router_text(at->first, router);
        waiting.state = false;
    } else if (waiting.picture) {
        text = supply_->picture_of(*router);
        waiting.picture = false;
    } else {
        untold_numbers_ -= waiting.inputs.size() + waiting.outputs.size();
        text = change_text(*router, supply_->locks_of(at->first), &waiting.inputs, &waiting.outputs,
                           event_merged_bytes_limit);
        untold_numbers_ += waiting.inputs.size() + waiting.outputs.size();
        merged_bytes_ = text->size();
    }
    if (router == nullptr) {
        untold_numbers_ -= waiting.inputs.size() + waiting.outputs.size();
        untold_.erase(at);
    } else if (!waiting.picture && !waiting.state && waiting.inputs.empty() && waiting.outputs.empty())
        untold_.erase(at);
    return text;
}

} // namespace gateway
