#include "name_restore.h"

#include "monotonic_us.h"
#include "port_names.h"
#include "program_end.h"

#include <poll.h>

namespace {

constexpr int look_period_ms = 50;

// Numbers of those whose name is not the one in the snapshot.
std::vector<int> differing(const std::vector<std::string>& wanted, const port_names& ports) {
    std::vector<int> numbers;
    for (std::size_t i = 0; i < wanted.size() && i < ports.names.size(); ++i)
        if (ports.names[i] != wanted[i])
            numbers.push_back(static_cast<int>(i) + 1);
    return numbers;
}

struct different_names {
    std::vector<int> inputs;
    std::vector<int> outputs;
};

different_names differences(const snapshot& one, const router_picture& picture) {
    return {differing(one.input_names, input_names_of(picture)),
            differing(one.output_names, output_names_of(picture))};
}

bool none(const different_names& names) {
    return names.inputs.empty() && names.outputs.empty();
}

comm_socket_v4_packet names_request(const snapshot& one, const different_names& names) {
    comm_socket_v4_packet request;
    comm_socket_v4_packet_begin_writing(&request, 0, "router set", nullptr);
    comm_socket_v4_packet_write_argv_end(&request);
    const auto write = [&request](const std::string& side, int number,
                                  const std::vector<std::string>& wanted) {
        comm_socket_v4_packet_write_nv_pair(&request, side + std::to_string(number) + ".name",
                                            wanted[static_cast<std::size_t>(number) - 1]);
    };
    for (const int input : names.inputs)
        write("input.", input, one.input_names);
    for (const int output : names.outputs)
        write("output.", output, one.output_names);
    comm_socket_v4_packet_write_end(&request);
    return request;
}

int tell(const different_names& names) {
    if (!names.inputs.empty())
        failed(exit_refused, "these inputs have not got their names: " + number_list(names.inputs));
    if (!names.outputs.empty())
        failed(exit_refused, "these outputs have not got their names: " + number_list(names.outputs));
    return exit_refused;
}

} // namespace

int restore_names(driver_link* link, const snapshot& one, const vrdx::router_picture& picture) {
    different_names names = differences(one, picture);
    if (none(names))
        return exit_done;
    comm_socket_v4_packet reply;
    const int result = ask_for_success(link, names_request(one, names), &reply);
    if (result != exit_done)
        return result;
    const std::uint64_t deadline = deadline_of(*link);
    for (;;) {
        router_picture now;
        const int asked = ask_picture_quietly(link, &now);
        if (asked != exit_done)
            return failed(asked, link->problem);
        names = differences(one, now);
        if (none(names))
            return exit_done;
        if (monotonic_us() >= deadline)
            return tell(names);
        poll(nullptr, 0, look_period_ms);
    }
}
