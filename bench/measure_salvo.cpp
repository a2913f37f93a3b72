// Many takes at once: from the request to the answer that all are confirmed.
#include "measure.h"
#include "message.h"
#include "requests.h"
#include "statistics.h"

#include <algorithm>
#include <cstdio>
#include <fcntl.h>
#include <stdexcept>
#include <unistd.h>

namespace {

constexpr router_size usual{288, 288};
constexpr router_size largest{4096, 1024};
constexpr int salvos_per_round = 9;
constexpr int rounds_in_messages = 3; // a salvo of a message each takes seconds
constexpr int starting_messages = 3;  // of a backend: size, inputs, outputs
constexpr double pause_ms = 20;       // all processes are idle again
constexpr int patience_ms = 60000;

double milliseconds(std::uint64_t from, std::uint64_t to) {
    return static_cast<double>(to - from) / 1e6;
}

// The backend program with nothing before it: the commands of a salvo are written as the driver writes them,
// and its report is read.
class backend_alone {
public:
    backend_alone(const work_directory& directory, const std::string& name, router_size size, bool salvo)
        : item_(write_item(directory, name, "route_bench", size, {.salvo = salvo})),
          board_(*make_board(item_)),
          program_({program_path("vrdx_route_bench"), "--file", item_}, make_streams()) {
        close(commands_[0]);
        close(reports_[1]);
        for (int i = 0; i < starting_messages; ++i)
            read_message();
    }
    ~backend_alone() {
        close(commands_[1]);
        close(reports_[0]);
    }
    backend_alone(const backend_alone&) = delete;
    backend_alone& operator=(const backend_alone&) = delete;

    // From the first byte of the commands to the whole report.
    double time(std::string_view commands) {
        sleep_ms(pause_ms);
        const std::uint64_t begin = clock_ns();
        while (!commands.empty()) {
            const ssize_t count = write(commands_[1], commands.data(), commands.size());
            if (count <= 0)
                throw std::runtime_error("the backend reads no commands");
            commands.remove_prefix(static_cast<std::size_t>(count));
        }
        read_message();
        return milliseconds(begin, clock_ns());
    }

private:
    program_streams make_streams() {
        if (pipe2(commands_, O_CLOEXEC) != 0 || pipe2(reports_, O_CLOEXEC) != 0)
            throw std::runtime_error("cannot make the pipes of a backend");
        return {.in = commands_[0], .out = reports_[1]};
    }

    // Up to the blank line that ends it.
    void read_message() {
        for (;;) {
            const std::size_t end = text_.find("\n\n");
            if (end != std::string::npos) {
                text_.erase(0, end + 2);
                return;
            }
            char chunk[65536];
            const ssize_t count = read(reports_[0], chunk, sizeof(chunk));
            if (count <= 0)
                throw std::runtime_error("the backend reports nothing");
            text_.append(chunk, static_cast<std::size_t>(count));
        }
    }

    std::string item_;
    bench_board& board_;
    int commands_[2] = {-1, -1};
    int reports_[2] = {-1, -1};
    std::string text_;
    running_program program_;
};

TavrixAPIRouterMessage command(const char* name) {
    TavrixAPIRouterMessage message;
    message.command = name;
    message.type = "command";
    return message;
}

std::string salvo_message(int outputs, int input) {
    TavrixAPIRouterMessage message = command("route outputs");
    char name[16];
    for (int output = 0; output < outputs; ++output) {
        std::snprintf(name, sizeof(name), "take.%04d", output % 10000);
        message.fields[name] = std::to_string(output) + " " + std::to_string(input);
    }
    std::string text;
    encode_router_message(message, text);
    return text;
}

std::string message_for_each(int outputs, int input) {
    std::string text;
    for (int output = 0; output < outputs; ++output) {
        TavrixAPIRouterMessage message = command("route output");
        message.fields = {
            {"queue", "add"}, {"from input", std::to_string(input)}, {"to output", std::to_string(output)}};
        encode_router_message(message, text);
    }
    TavrixAPIRouterMessage flush = command("route output");
    flush.fields = {{"queue", "flush"}};
    encode_router_message(flush, text);
    return text;
}

// To all outputs of the driver's router.
double salvo_time(const running_driver& driver, int outputs, int input) {
    const load_connection connection(driver.socket(), patience_ms);
    std::string answer;
    sleep_ms(pause_ms);
    const std::string request = answered_takes_request(1, outputs, input, "salvo");
    const std::uint64_t begin = clock_ns();
    connection.send(request);
    connection.receive_packet(&answer);
    const std::uint64_t end = clock_ns();
    std::size_t confirmed = 0;
    for (std::size_t at = 0; (at = answer.find("confirmed", at)) != std::string::npos; ++at)
        ++confirmed;
    if (confirmed != static_cast<std::size_t>(outputs))
        throw std::runtime_error("a salvo was not confirmed");
    return milliseconds(begin, end);
}

// Sources change from salvo to salvo.
double middle_salvo(int count, const std::function<double(int input)>& one) {
    static int input = 0;
    std::vector<double> times;
    times.reserve(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i)
        times.push_back(one(++input % usual.inputs + 1));
    return median(times);
}

measurement measure_salvos(int rounds, int salvos, bool salvo) {
    const work_directory directory;
    const running_driver usual_driver(directory, "usual", "route_bench", usual, {.salvo = salvo});
    const running_driver large_driver(directory, "large", "route_bench", largest, {.salvo = salvo});
    backend_alone usual_backend(directory, "usual alone", usual, salvo);
    backend_alone large_backend(directory, "large alone", largest, salvo);
    const auto commands = salvo ? salvo_message : message_for_each;
    const auto of_driver = [&](const running_driver& driver, int outputs) {
        return middle_salvo(salvos, [&](int input) { return salvo_time(driver, outputs, input); });
    };
    const auto of_backend = [&](backend_alone& backend, int outputs) {
        return middle_salvo(salvos, [&](int input) { return backend.time(commands(outputs, input - 1)); });
    };
    return alternate(
        rounds,
        [&] {
            return std::vector{of_driver(usual_driver, usual.outputs),
                               of_driver(large_driver, largest.outputs)};
        },
        [&] {
            return std::vector{of_backend(usual_backend, usual.outputs),
                               of_backend(large_backend, largest.outputs)};
        });
}

} // namespace

measurement measure_salvo(int rounds) {
    return measure_salvos(rounds, salvos_per_round, true);
}

measurement measure_salvo_in_messages(int rounds) {
    return measure_salvos(std::min(rounds, rounds_in_messages), 1, false);
}
