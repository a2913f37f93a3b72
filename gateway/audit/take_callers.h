// Who asked for the takes that the gateway sent: the driver's record knows the token, not the address.
#pragma once

#include "history_entry.h"
#include "packet_client.h"

#include <map>
#include <string>
#include <vector>

namespace gateway {

// From where a take came, and by what way into the gateway.
struct take_caller {
    std::string address; // numeric
    std::string through = through_gateway;
};

class take_callers {
public:
    // The takes are about to be sent in the name of `by`. A number for end(), from 1; 0 when
    // history_callers_limit outputs are open already, and these are recorded without an address.
    std::uint64_t begin(const std::string& router, const std::string& by, const take_caller& caller,
                        const std::vector<vrdx::output_take>& takes);

    // What became of them, in the same order; fewer when nobody knows. Nothing of them was sent: forget().
    void end(std::uint64_t number, const std::vector<vrdx::take_result>& results, std::int64_t now_us);
    void forget(std::uint64_t number);
    // One of the takes is not sent after all; the others keep their order.
    void withhold(std::uint64_t number, int output);

    // The driver has recorded a take of this process: who asked for it first. Without an address when nobody
    // is known.
    take_caller caller_of(const std::string& router, const vrdx::take_record& record);

    // The driver has ended, and its record with it: entries of takes that were sent to it, answered, and
    // never recorded.
    std::vector<history_entry> left_over(const std::string& router);

    std::size_t open() const {
        return open_;
    }

private:
    struct sent_take {
        vrdx::output_take take;
        bool recorded = false;
        vrdx::take_result result;
    };
    struct order {
        std::string router, by;
        take_caller caller;
        std::vector<sent_take> takes;
        std::int64_t ended_us = 0; // 0: not answered yet
    };
    void drop(std::map<std::uint64_t, order>::iterator each);
    void drop_when_recorded(std::map<std::uint64_t, order>::iterator each);

    std::map<std::uint64_t, order> orders_; // the oldest first
    std::uint64_t newest_ = 0;
    std::size_t open_ = 0; // outputs of all of them
};

} // namespace gateway
