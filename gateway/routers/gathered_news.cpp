#include "gateway/routers/gathered_news.h"

#include <algorithm>
#include <iterator>
#include <string_view>
#include <vector>

namespace gateway {

namespace {

void add_numbers(std::vector<int>* all, const std::vector<int>& more) {
    if (all->empty()) {
        *all = more;
        return;
    }
    std::vector<int> both;
    both.reserve(all->size() + more.size());
    std::set_union(all->begin(), all->end(), more.begin(), more.end(), std::back_inserter(both));
    *all = std::move(both);
}

} // namespace

bool is_change(const comm_socket_v4_packet& pushed) {
    return comm_socket_v4_packet_get_command(&pushed) == std::string_view("change");
}

bool goes_on_in_further_packets(const comm_socket_v4_packet& pushed) {
    return is_change(pushed) &&
           std::any_of(pushed.entries.begin(), pushed.entries.end(), [&pushed](std::uint32_t index) {
               const comm_socket_v4_packet_item& entry = pushed.items[index];
               return comm_socket_v4_packet_item_name(&pushed, entry) == "more" &&
                      comm_socket_v4_packet_item_value(&pushed, entry) == "1";
           });
}

void add_places(vrdx::picture_news* all, const vrdx::picture_news& more) {
    add_numbers(&all->inputs, more.inputs);
    add_numbers(&all->outputs, more.outputs);
    all->sizes = all->sizes || more.sizes;
    all->state = all->state || more.state;
}

} // namespace gateway
