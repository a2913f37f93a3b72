// The operator's command line: how long a whole router takes to be shown, and how soon a watching operator
// reads what became of a take.
#include "measure.h"
#include "requests.h"
#include "statistics.h"

#include <fcntl.h>
#include <stdexcept>
#include <unistd.h>

namespace {

constexpr router_size small{16, 16};
constexpr router_size largest{4096, 1024};
constexpr int statuses_per_round = 5;
constexpr int takes_per_round = 20;
constexpr double least_gap_ms = 10;
constexpr double most_gap_ms = 20;

double milliseconds(std::uint64_t from, std::uint64_t to) {
    return static_cast<double>(to - from) / 1e6;
}

// A running vrdx_routectl, and what it prints.
class operator_program {
public:
    operator_program(const running_driver& driver, const std::string& command)
        : program_({program_path("vrdx_routectl"), driver.item(), command}, {.out = ends_.writing}) {
        close(ends_.writing);
        ends_.writing = -1;
    }

    // Reads up to this text; false when the program has ended before.
    bool read_up_to(const std::string& text) {
        std::size_t at = printed_.find(text);
        while (at == std::string::npos) {
            char chunk[65536];
            const ssize_t count = read(ends_.reading, chunk, sizeof(chunk));
            if (count <= 0)
                return false;
            printed_.append(chunk, static_cast<std::size_t>(count));
            at = printed_.find(text);
        }
        printed_.erase(0, at + text.size());
        return true;
    }
    // How many bytes it has printed until its end, of which none was read before.
    std::size_t read_to_the_end() {
        read_up_to(std::string(1, '\0'));
        return printed_.size();
    }

private:
    struct pipe_ends {
        int reading = -1;
        int writing = -1;

        pipe_ends() {
            int both[2];
            if (pipe2(both, O_CLOEXEC) != 0)
                throw std::runtime_error("cannot make a pipe");
            reading = both[0];
            writing = both[1];
        }
        ~pipe_ends() {
            close(reading);
            if (writing >= 0)
                close(writing);
        }
        pipe_ends(const pipe_ends&) = delete;
        pipe_ends& operator=(const pipe_ends&) = delete;
    };

    pipe_ends ends_;
    std::string printed_;
    running_program program_;
};

std::vector<double> status_times(const running_driver& driver) {
    std::vector<double> times;
    for (int i = 0; i < statuses_per_round; ++i) {
        const std::uint64_t begin = clock_ns();
        if (operator_program(driver, "status").read_to_the_end() < std::size_t{largest.outputs})
            throw std::runtime_error("vrdx_routectl did not show the router");
        times.push_back(milliseconds(begin, clock_ns()));
    }
    return {median(times)};
}

// The same router, asked for page by page.
std::vector<double> description_times(const running_driver& driver) {
    const load_connection connection(driver.socket());
    std::vector<double> times;
    for (int i = 0; i < statuses_per_round; ++i) {
        const std::uint64_t begin = clock_ns();
        std::string from;
        std::string page;
        do {
            connection.send(describe_request(from));
            connection.receive_packet(&page);
            from = next_page(page);
        } while (!from.empty());
        times.push_back(milliseconds(begin, clock_ns()));
    }
    return {median(times)};
}

// From the backend's report to its take's answer or, when somebody watches, to the line that tells of it.
std::vector<double> told_times_of_takes(const running_driver& driver, operator_program* watching) {
    const load_connection connection(driver.socket());
    random_gap gap(least_gap_ms, most_gap_ms);
    std::vector<double> times;
    std::string answer;
    for (int i = 0; i < takes_per_round; ++i) {
        gap.wait();
        connection.send(answered_takes_request(i % small.outputs + 1, 1, (i + 3) % small.inputs + 1, "take"));
        connection.receive_packet(&answer);
        if (answer.find("confirmed") == std::string::npos)
            throw std::runtime_error("a take was not confirmed");
        if (watching != nullptr && !watching->read_up_to(": confirmed ("))
            throw std::runtime_error("vrdx_routectl does not watch any more");
        times.push_back(milliseconds(driver.board().report_begun, clock_ns()));
    }
    return {median(times)};
}

} // namespace

measurement measure_routectl_status(int rounds) {
    const work_directory directory;
    const running_driver driver(directory, "shown", "route_simulator", largest);
    return alternate(
        rounds, [&] { return status_times(driver); }, [&] { return description_times(driver); });
}

measurement measure_routectl_watch(int rounds) {
    const work_directory directory;
    const running_driver driver(directory, "watched", "route_bench", small);
    operator_program watching(driver, "watch");
    if (!watching.read_up_to("watching "))
        throw std::runtime_error("vrdx_routectl does not watch");
    return alternate(
        rounds, [&] { return told_times_of_takes(driver, &watching); },
        [&] {
            std::vector<double> answers = told_times_of_takes(driver, nullptr);
            for (int i = 0; i < takes_per_round; ++i) // each of these was told, too
                watching.read_up_to(": confirmed (");
            return answers;
        });
}
