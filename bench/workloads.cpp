#include "workloads.h"

#include "backend.h"
#include "client.h"
#include "message.h"
#include "requests.h"
#include "socket_address.h"
#include "vrdx.h"

#include <algorithm>
#include <fcntl.h>
#include <filesystem>
#include <stdexcept>
#include <stdlib.h> // mkdtemp
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

namespace {

constexpr std::size_t buffer_bytes = 1048576;
constexpr std::size_t pipe_bytes = 65536; // what an empty pipe holds

int commands_out = -1; // the far ends
int reports_in = -1;
int logs_in = -1;
std::vector<int> watchers;

void make_pipe(int& read_end, int& write_end) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC | O_NONBLOCK) != 0)
        throw std::runtime_error("cannot make a pipe");
    read_end = ends[0];
    write_end = ends[1];
}

void through_pipe(std::string_view text, int fd, void (*read_pipe)()) {
    while (!text.empty()) {
        const ssize_t count = write(fd, text.data(), std::min(text.size(), pipe_bytes));
        if (count <= 0)
            throw std::runtime_error("the driver's modules left a pipe full");
        text.remove_prefix(static_cast<std::size_t>(count));
        read_pipe();
    }
}

void connect_watcher(const std::string& path) {
    const std::string request = watch_request();
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0 || connect_socket_path(fd, path) != 0 ||
        send(fd, request.data(), request.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(request.size()))
        throw std::runtime_error("cannot watch");
    watchers.push_back(fd);
    comm_socket_v4_accept_turn(vrdx_comm_server); // else the line of those who wait would be full
}

TavrixAPIRouterMessage report(const char* command) {
    TavrixAPIRouterMessage message;
    message.command = command;
    message.type = "message";
    return message;
}

} // namespace

void connect_piped_backend() {
    make_pipe(commands_out, backend_stdin_fd);
    make_pipe(backend_stdout_fd, reports_in);
    make_pipe(backend_stderr_fd, logs_in);
    backend_stdinbuf = sliding_window_v4_create_buffer(buffer_bytes);
    backend_stdoutbuf = sliding_window_v4_create_buffer(buffer_bytes);
    backend_stderrbuf = sliding_window_v4_create_buffer(buffer_bytes);
    backend_pid = getpid(); // never asked for: nobody looks whether it lives
    commands_reach_backend = true;
    if (backend_stdinbuf == nullptr || backend_stdoutbuf == nullptr || backend_stderrbuf == nullptr)
        throw std::runtime_error("cannot make the buffers");
}

void report_through_pipe(std::string_view text) {
    through_pipe(text, reports_in, read_backend_stdout);
}

void log_through_pipe(std::string_view text) {
    through_pipe(text, logs_in, read_backend_stderr);
}

std::size_t take_commands_out() {
    static char chunk[pipe_bytes];
    std::size_t bytes = 0;
    while (pending_line_count() > 0) {
        pending_to_buffer();
        const ssize_t count = read(commands_out, chunk, sizeof(chunk));
        bytes += count > 0 ? static_cast<std::size_t>(count) : 0;
    }
    return bytes;
}

void connect_watchers(int count) {
    std::string directory = std::filesystem::temp_directory_path().string() + "/vrdx_counted.XXXXXX";
    if (mkdtemp(directory.data()) == nullptr)
        throw std::runtime_error("cannot make a temporary directory");
    const std::string path = directory + "/socket";
    vrdx_comm_server = comm_socket_v4_create_server(path);
    on_vrdx_custom_packet = my_vrdx_custom_packet;
    watch_for_watchers();
    for (int i = 0; i < count; ++i)
        connect_watcher(path);
    std::filesystem::remove_all(directory);
    while (comm_socket_v4_accept_turn(vrdx_comm_server) + comm_socket_v4_clients_turn(vrdx_comm_server) > 0) {
    }
    while (tell_watchers_of_pass() > 0) { // a pass tells the whole picture to some of them only
    }
}

std::size_t tell_watchers_of_pass() {
    serve_watchers();
    std::size_t bytes = 0;
    for (const int fd : watchers) {
        static char chunk[pipe_bytes];
        const ssize_t count = recv(fd, chunk, sizeof(chunk), MSG_DONTWAIT);
        bytes += count > 0 ? static_cast<std::size_t>(count) : 0;
    }
    return bytes;
}

std::string full_report(int inputs, int outputs) {
    TavrixAPIRouterMessage info = report("info");
    info.fields = {{"inputs", std::to_string(inputs)}, {"outputs", std::to_string(outputs)}};
    TavrixAPIRouterMessage input_report = report("inputs");
    for (int i = 0; i < inputs; ++i)
        input_report.fields["i" + std::to_string(i) + ".name"] = "Input " + std::to_string(i + 1);
    TavrixAPIRouterMessage output_report = report("outputs");
    for (int i = 0; i < outputs; ++i) {
        const std::string prefix = "o" + std::to_string(i);
        output_report.fields[prefix + ".name"] = "Output " + std::to_string(i + 1);
        output_report.fields[prefix + ".input.all"] = std::to_string(i % inputs);
    }
    std::string text;
    for (const TavrixAPIRouterMessage* message : {&info, &input_report, &output_report})
        encode_router_message(*message, text);
    return text;
}

std::string take_report(int output, int input) {
    TavrixAPIRouterMessage message = report("outputs");
    message.fields["o" + std::to_string(output) + ".input.all"] = std::to_string(input);
    std::string text;
    encode_router_message(message, text);
    return text;
}

std::string log_flood(int lines) {
    constexpr const char* tags[] = {"<INFO>", "<WARN>", "<DBG>", "<ERR>", ""};
    std::string text;
    for (int i = 0; i < lines; ++i)
        text += tags[i % 5] + std::string("frame ") + std::to_string(i) + " answered late, asking again\n";
    return text;
}

std::size_t answer_request(const std::string& request) {
    static comm_socket_v4_packet packet;
    static comm_socket_v4_packet reply;
    unsigned char flags = 0;
    if (!comm_socket_v4_packet_decode(&packet, reinterpret_cast<const unsigned char*>(request.data()),
                                      request.size()) ||
        my_vrdx_custom_packet(&packet, &reply, &flags, nullptr) != 1)
        throw std::runtime_error("a request was not understood");
    return reply.bytes.size();
}
