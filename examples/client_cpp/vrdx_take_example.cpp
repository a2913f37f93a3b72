// Takes an input to an output, and tells what became of it:  vrdx_take_example SOCKET OUTPUT INPUT
// Exit code 0: the router has confirmed it. 1: it has not. 2: wrong use. 3: nobody could be asked.
#include <cstdio>
#include <cstdlib>
#include <vrdx/packet_client.h>

namespace {

constexpr std::uint64_t patience_us = 5000000; // longer than a driver takes to answer

// -1 for what is no number, or beyond every router.
int number_in(const char* text) {
    char* end = nullptr;
    const long number = std::strtol(text, &end, 10);
    return end != text && *end == '\0' && number >= 0 && number < 100000 ? static_cast<int>(number) : -1;
}

void print_output(const vrdx::router_picture& picture, int number) {
    const auto index = static_cast<std::size_t>(number) - 1;
    if (number < 1 || index >= picture.outputs.size())
        return;
    const vrdx::picture_output& output = picture.outputs[index];
    std::printf("output %d (%s) shows video %d, audio %d\n", number, output.name.c_str(),
                output.sources.video,
                output.sources.audio); // 0: no source, -1: nobody has said yet
}

int fail(const vrdx::driver_connection& driver) {
    std::fprintf(stderr, "%s\n", driver.problem.c_str());
    return 3;
}

} // namespace

int main(int argc, char** argv) {
    const int output = argc == 4 ? number_in(argv[2]) : -1;
    const int input = argc == 4 ? number_in(argv[3]) : -1; // 0: no source
    if (output < 1 || input < 0) {
        std::fprintf(stderr, "usage: %s SOCKET OUTPUT INPUT\n", argv[0]);
        return 2;
    }
    const std::uint64_t deadline = monotonic_us() + patience_us;

    vrdx::driver_connection driver;
    vrdx::router_picture picture;
    if (vrdx::connect_until(&driver, argv[1], deadline) != vrdx::outcome::done ||
        vrdx::describe_until(&driver, &picture, deadline) != vrdx::outcome::done)
        return fail(driver);
    print_output(picture, output);

    vrdx::take_order order;
    order.takes = {{output, {input, input}}};
    order.id = "1";
    order.by = "example";
    vrdx::take_answer answer;
    if (vrdx::take_until(&driver, order, &answer, deadline) != vrdx::outcome::done)
        return fail(driver);
    for (const vrdx::output_result& each : answer.results)
        std::printf("output %d: %s %s\n", each.output, vrdx::take_word_text(each.result.word),
                    each.result.text.c_str());
    vrdx::close_connection(&driver);
    return answer.all_confirmed ? 0 : 1;
}
