// The header by which a format of figures is asked for, and a label with any text: one is chosen, and the
// text stays on its line.
#include "gateway/metrics/metrics_text.h"
#include "target.h"

#include <algorithm>

using namespace gateway;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view input = as_text(data, size);
    const metrics_format format = wanted_format(input);
    if (format == metrics_format::open) {
        std::string letters(input);
        std::transform(letters.begin(), letters.end(), letters.begin(), [](unsigned char letter) {
            return letter >= 'A' && letter <= 'Z' ? letter + 32 : letter;
        });
        FUZZ_CHECK(letters.find("application/openmetrics-text") != std::string::npos);
    }
    metrics_text text(format);
    text.begin(figure::driver_up);
    text.sample({{"router", input}}, 1.0);
    const std::string written = text.finish();
    const std::size_t head = written.find("vrdx_driver_up{router=\"");
    FUZZ_CHECK(head != std::string::npos);
    std::size_t at = head + 23;
    std::string back;
    for (; at < written.size() && written[at] != '"'; ++at) {
        FUZZ_CHECK(written[at] != '\n');
        if (written[at] == '\\')
            back += written[++at] == 'n' ? '\n' : written[at];
        else
            back += written[at];
    }
    FUZZ_CHECK(back == input);
    FUZZ_CHECK(written.substr(at) == (format == metrics_format::open ? "\"} 1\n# EOF\n" : "\"} 1\n"));
    return 0;
}
