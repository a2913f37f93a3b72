#include "fleet.h"

#include "../measure.h"
#include "../requests.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <unistd.h>

namespace {

constexpr int patience_ms = 60000;
constexpr int most_shown_outputs = 128;

std::string name_of(std::size_t at) {
    return "r" + std::to_string(at + 1);
}

std::string first_line(FILE* stream) {
    std::array<char, 256> text{};
    std::string line = std::fgets(text.data(), text.size(), stream) == nullptr ? "" : text.data();
    while (!line.empty() && line.back() == '\n')
        line.pop_back();
    return line;
}

std::string add_token(const std::string& state) {
    const std::string command =
        program_path("vrdx_gateway") + " token add bench --role admin --state " + state;
    FILE* told = popen(command.c_str(), "r");
    const std::string token = told == nullptr ? "" : first_line(told);
    if (told == nullptr || pclose(told) != 0 || token.empty())
        throw std::runtime_error("no token can be added");
    return token;
}

} // namespace

driver_fleet::driver_fleet(const work_directory& directory, std::size_t count, router_size size,
                           const std::string& further)
    : items_(directory.file("items")), run_(directory.file("run")) {
    std::filesystem::create_directory(items_);
    std::filesystem::create_directory(run_);
    for (std::size_t at = 0; at < count; ++at) {
        const std::string item = items_ + "/" + name_of(at) + ".item";
        std::ofstream(item) << "driver=route_bench\nsimulated inputs=" << size.inputs
                            << "\nsimulated outputs=" << size.outputs << "\nbench board=" << board_path(item)
                            << '\n'
                            << further;
        boards_.push_back(make_board(item));
        drivers_.push_back(std::make_unique<running_program>(std::vector<std::string>{
            program_path("vrdx_routedriver"), "--file", item, "--sock", socket(at), "--no-autoshutdown"}));
    }
    for (std::size_t at = 0; at < count; ++at)
        wait_for_outputs(socket(at), std::min(size.outputs, most_shown_outputs), patience_ms);
}

std::string driver_fleet::socket(std::size_t at) const {
    return run_ + "/" + name_of(at) + ".sock";
}

void driver_fleet::change(std::size_t at) const {
    kill(board(at).backend, SIGUSR2);
}

running_gateway::running_gateway(const work_directory& directory, const driver_fleet& fleet,
                                 const std::string& configuration,
                                 const std::function<void(const std::string&)>& prepare) {
    static int count = 0; // one after the other in one directory: each with a state of its own
    const std::string state = directory.file("state" + std::to_string(++count));
    const std::string file = directory.file("gateway.toml");
    std::ofstream(file) << configuration << '\n';
    token_ = add_token(state);
    if (prepare)
        prepare(state);
    std::array<int, 2> ready{};
    if (pipe2(ready.data(), O_CLOEXEC) != 0)
        throw std::runtime_error("no pipe can be made");
    const std::uint64_t begun = clock_ns();
    program_ = std::make_unique<running_program>(
        std::vector<std::string>{program_path("vrdx_gateway"), "--config", file, "--items", fleet.items(),
                                 "--run", fleet.run(), "--state", state, "--listen", "127.0.0.1:0",
                                 "--ready-fd", "3"},
        program_streams{.ready = ready[1]});
    close(ready[1]);
    FILE* told = fdopen(ready[0], "r");
    const std::string address = first_line(told);
    ready_ms_ = static_cast<double>(clock_ns() - begun) / 1e6;
    std::fclose(told);
    if (address.rfind(':') == std::string::npos)
        throw std::runtime_error("the gateway does not start");
    port_ = static_cast<unsigned short>(std::stoi(address.substr(address.rfind(':') + 1)));
}
