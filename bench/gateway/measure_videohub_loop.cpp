// How much later a take is answered that goes by way of the gateway's Videohub server and the Videohub
// backend.
#include "measure_gateway.h"

#include "../requests.h"
#include "../statistics.h"
#include "fleet.h"

#include <arpa/inet.h>
#include <fstream>
#include <netinet/in.h>
#include <stdexcept>
#include <sys/socket.h>
#include <unistd.h>

namespace {

constexpr router_size size{16, 16};
constexpr int takes_per_round = 40;
constexpr int patience_ms = 60000;

// One that is free now.
unsigned short free_port() {
    const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t bytes = sizeof address;
    const bool is_found = bind(fd, reinterpret_cast<sockaddr*>(&address), bytes) == 0 &&
                          getsockname(fd, reinterpret_cast<sockaddr*>(&address), &bytes) == 0;
    close(fd);
    if (!is_found)
        throw std::runtime_error("no port is free");
    return ntohs(address.sin_port);
}

std::string server_table(unsigned short port) {
    return "[[videohub]]\nrouter = \"r1\"\nrole = \"operate\"\nport = " + std::to_string(port) + "\n";
}

// A driver whose router is the Videohub server at that port.
class far_driver {
public:
    far_driver(const work_directory& directory, unsigned short port)
        : item_(directory.file("far.item")), socket_(directory.file("far.sock")), program_(arguments(port)) {
        wait_for_outputs(socket_, size.outputs, patience_ms);
    }
    [[nodiscard]] const std::string& socket() const {
        return socket_;
    }

private:
    [[nodiscard]] std::vector<std::string> arguments(unsigned short port) const {
        std::ofstream(item_) << "driver=route_videohub\naddress=127.0.0.1\nport=" << port << '\n';
        return {program_path("vrdx_routedriver"), "--file", item_, "--sock", socket_, "--no-autoshutdown"};
    }

    std::string item_, socket_;
    running_program program_;
};

} // namespace

measurement measure_videohub_loop(int rounds) {
    const work_directory directory;
    const driver_fleet fleet(directory, 1, size);
    const unsigned short port = free_port();
    const running_gateway gateway(directory, fleet, server_table(port));
    const far_driver far(directory, port);
    int take = 0;
    // A pause before each, so that neither way finds a driver at a particular place of its wait.
    const auto median_of = [&](const std::string& socket) {
        const load_connection connection(socket);
        random_gap gap(15, 35);
        std::vector<double> times;
        for (int count = 0; count < takes_per_round; ++count, ++take) {
            const int output = take % size.outputs + 1;
            const int input = (take + take / size.outputs + 3) % size.inputs + 1;
            gap.wait();
            const std::uint64_t begun = clock_ns();
            std::string answer;
            connection.send(answered_takes_request(output, 1, input, "take"));
            connection.receive_packet(&answer);
            times.push_back(static_cast<double>(clock_ns() - begun) / 1e6);
            if (answer.find("confirmed") == std::string::npos)
                throw std::runtime_error("a take was not confirmed: " + answer);
        }
        return std::vector<double>{median(times)};
    };
    return alternate(
        rounds, [&] { return median_of(far.socket()); }, [&] { return median_of(fleet.socket(0)); });
}
