// A hash of bytes that come piece by piece.
#pragma once

#include <memory>
#include <string>
#include <string_view>

namespace gateway {

class stream_hash {
public:
    stream_hash();
    ~stream_hash();
    stream_hash(const stream_hash&) = delete;
    stream_hash& operator=(const stream_hash&) = delete;

    void add(std::string_view bytes);
    // 64 hexadecimal digits. Called once, at the end.
    std::string text();

private:
    struct state;
    std::unique_ptr<state> state_;
};

} // namespace gateway
