// How soon all outputs of a router on the network are switched and confirmed.
#include "measure.h"
#include "requests.h"
#include "statistics.h"
#include "videohub_peer.h"

#include <fcntl.h>
#include <fstream>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <stdexcept>
#include <string_view>
#include <sys/socket.h>
#include <unistd.h>

namespace {

constexpr int points = 288;
constexpr int points_of_a_status = 128; // it shows no more
constexpr int salvos_per_round = 9;
constexpr double pause_ms = 30; // all processes are idle again
constexpr int patience_ms = 20000;

double milliseconds_since(std::uint64_t begin) {
    return static_cast<double>(clock_ns() - begin) / 1000000;
}

// From sending one "take" of all outputs to its answer; `input` from 1.
double driver_time(const std::string& socket, int input) {
    const load_connection connection(socket, patience_ms);
    const std::string request = answered_takes_request(1, points, input, "salvo");
    std::string answer;
    sleep_ms(pause_ms);
    const std::uint64_t begin = clock_ns();
    connection.send(request);
    connection.receive_packet(&answer);
    const double time = milliseconds_since(begin);
    int confirmed = 0;
    for (std::size_t at = 0; (at = answer.find("confirmed", at)) != std::string::npos; ++at)
        ++confirmed;
    if (confirmed != points)
        throw std::runtime_error("a salvo was not confirmed");
    return time;
}

std::string salvo_block(int input) {
    std::string block = "VIDEO OUTPUT ROUTING:\n";
    for (int output = 0; output < points; ++output)
        block += std::to_string(output) + " " + std::to_string(input) + "\n";
    return block + "\n";
}

void receive(int fd, std::size_t bytes) {
    std::string text(bytes, '\0');
    for (std::size_t got = 0; got < bytes;) {
        const int on = 1;
        setsockopt(fd, IPPROTO_TCP, TCP_QUICKACK, &on, sizeof on);
        const ssize_t count = recv(fd, text.data(), bytes - got, 0);
        if (count <= 0)
            throw std::runtime_error("the emulated router does not answer");
        got += static_cast<std::size_t>(count);
    }
}

// Without anything between: from the block that asks to the block that tells.
double bare_time(int fd, int input) {
    const std::string block = salvo_block(input);
    sleep_ms(pause_ms);
    const std::uint64_t begin = clock_ns();
    if (send(fd, block.data(), block.size(), MSG_NOSIGNAL) < 0)
        throw std::runtime_error("the emulated router is gone");
    receive(fd, std::string_view("ACK\n\n").size() + block.size());
    return milliseconds_since(begin);
}

// Sources change from salvo to salvo.
template<typename salvo> std::vector<double> middle(salvo one) {
    static int input = 0;
    std::vector<double> times;
    times.reserve(salvos_per_round);
    for (int i = 0; i < salvos_per_round; ++i)
        times.push_back(one(++input % points));
    return {median(times)};
}

} // namespace

measurement measure_videohub_salvo(int rounds) {
    const work_directory directory;
    const videohub_peer peer(points);
    const std::string item = directory.file("videohub.item");
    std::ofstream(item) << "driver=route_videohub\naddress=127.0.0.1\nport=" << peer.port() << '\n';
    const int trace = open((item + ".trace").c_str(), O_RDWR | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
    const running_program driver({program_path("vrdx_routedriver"), "--file", item, "--no-autoshutdown"},
                                 {.err = trace});
    close(trace);
    const std::string socket = socket_path(directory, "videohub");
    wait_for_outputs(socket, points_of_a_status, patience_ms);
    const int fd = connect_to_peer(peer.port());
    receive(fd, peer.greeting().size());
    const measurement measured = alternate(
        rounds, [&] { return middle([&](int input) { return driver_time(socket, input + 1); }); },
        [&] { return middle([&](int input) { return bare_time(fd, input); }); });
    close(fd);
    return measured;
}
