// Clients that ask for takes and settings, and the messages that leave for the backend, in few words.
#pragma once

#include "fresh_driver.h"
#include "router_picture.h"

#include <algorithm>
#include <string>
#include <vector>

class waiting_clients : public fresh_driver {
protected:
    waiting_clients() {
        commands_reach_backend = true;
    }

    // Nobody who was there before in this program: what was once sent for somebody is remembered for a while.
    static uid_t new_user() {
        static uid_t last = 1000;
        return ++last;
    }
    static requester connect(uid_t user) {
        static std::uint64_t last = 0;
        const requester client{++last, user};
        requester_asks(client);
        return client;
    }
    static requester connect() {
        return connect(new_user());
    }

    // One packet with a take of `source` for each output.
    static void take(requester client, std::int32_t source, const std::vector<std::int32_t>& outputs) {
        requester_asks(client);
        for (const std::int32_t output : outputs)
            queue_route_request({source, source, output}, client);
        plan_route_changes();
    }
    // So many packets, each with one take, on the outputs from `first_output` on.
    static void flood(requester client, std::int32_t source, int packets, std::int32_t first_output = 0) {
        for (int packet = 0; packet < packets; ++packet)
            take(client, source, {first_output + packet});
    }
    static TavrixAPIRouterMessage message(const std::string& value) {
        TavrixAPIRouterMessage message;
        message.fields["value"] = value;
        return message;
    }
    static void send(requester client, const std::string& value, std::int32_t place = first_setting_place) {
        requester_asks(client);
        router_send_client_message(message(value), client, place);
    }

    // "3>5" for the take of source 3 on output 5, "flush", or the value of another message.
    static std::string in_short(const std::string& text) {
        if (text.find("queue=flush\n") != std::string::npos)
            return "flush";
        if (text.find("queue=add\n") != std::string::npos)
            return part(text, "from input=") + ">" + part(text, "to output=");
        return part(text, "value=");
    }
    // Moves up to so many messages out, and tells them in short.
    static std::vector<std::string> move(std::size_t most) {
        std::vector<std::string> moved;
        while (moved.size() < most && pending_line() != nullptr) {
            moved.push_back(in_short(*pending_line()));
            pending_line_moved();
        }
        return moved;
    }
    static std::vector<std::string> move_all() {
        return move(pending_line_count());
    }
    // The same without the flushes: what it says of batches of one take.
    static std::vector<std::string> move_batches(std::size_t batches) {
        std::vector<std::string> moved = move(2 * batches);
        std::erase(moved, "flush");
        return moved;
    }
    // Takes of this source among what was moved.
    static long count_of(const std::vector<std::string>& moved, const std::string& source) {
        return std::count_if(moved.begin(), moved.end(),
                             [&](const std::string& one) { return one.starts_with(source + ">"); });
    }

private:
    static std::string part(const std::string& text, const std::string& name) {
        const std::size_t at = text.find(name) + name.size();
        return text.substr(at, text.find('\n', at) - at);
    }
};
