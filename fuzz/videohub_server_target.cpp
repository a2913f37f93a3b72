// What a client may send a Videohub server, in pieces of any size. The first byte is the size of a piece.
#include "target.h"
#include "videohub_model.h"
#include "videohub_requests.h"

#include <algorithm>

namespace {

constexpr videohub_served_size served{5, 3};
constexpr std::size_t most_bytes = 4096;

template<typename entries> void check_numbers(const entries& all, int below) {
    for (const auto& [number, value] : all)
        FUZZ_CHECK(number >= 0 && number < below);
}

void check_request(const videohub_block& block) {
    const videohub_request request = read_videohub_request(block, served);
    FUZZ_CHECK(request.understood == request.problem.empty());
    FUZZ_CHECK(std::all_of(request.problem.begin(), request.problem.end(),
                           [](char c) { return c >= ' ' && c <= '~'; }));
    const std::size_t said = request.takes.size() + request.labels.size() + request.locks.size();
    FUZZ_CHECK(said == 0 || (request.understood && !request.whole));
    check_numbers(request.takes, served.outputs);
    check_numbers(request.locks, served.outputs);
    check_numbers(request.labels,
                  request.topic == videohub_topic::input_labels ? served.inputs : served.outputs);
    for (const auto& [output, source] : request.takes)
        FUZZ_CHECK(source >= 0 && source < served.inputs);
    for (const auto& [number, label] : request.labels)
        FUZZ_CHECK(label.size() <= most_videohub_label_bytes && label.find('\n') == std::string::npos);
}

// False: the reader gave up.
bool read(std::string_view bytes, std::size_t piece, std::vector<videohub_block>& blocks) {
    videohub_reader reader;
    reader.most_bytes = most_bytes;
    for (; !bytes.empty(); bytes.remove_prefix(std::min(piece, bytes.size()))) {
        if (!read_videohub_bytes(reader, bytes.substr(0, piece), blocks))
            return false;
        FUZZ_CHECK(reader.line.size() <= most_bytes && reader.block.lines.size() <= most_bytes);
    }
    return true;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0)
        return 0;
    const std::string_view bytes = as_text(data + 1, size - 1);
    std::vector<videohub_block> pieces, whole;
    const bool read_in_pieces = read(bytes, std::size_t{1} + data[0], pieces);
    const bool read_at_once = read(bytes, std::max<std::size_t>(bytes.size(), 1), whole);
    FUZZ_CHECK(read_in_pieces == read_at_once);
    FUZZ_CHECK(std::equal(pieces.begin(), pieces.end(), whole.begin(), whole.end(),
                          [](const videohub_block& one, const videohub_block& other) {
                              return one.header == other.header && one.lines == other.lines;
                          }));
    std::for_each(pieces.begin(), pieces.end(), check_request);
    return 0;
}
