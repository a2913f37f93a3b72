// What a WebSocket tells. The connection asks for the next text when it can write one; nothing is queued for
// it.
#pragma once

#include <memory>
#include <string>

namespace gateway {

// Close codes of WebSockets that are used here.
constexpr unsigned close_going_away = 1001;
constexpr unsigned close_policy = 1008;

// The connection's end, for the source.
class event_sink {
public:
    virtual ~event_sink() = default;
    virtual void wake() = 0;                                          // next() has something again
    virtual void close(unsigned code, const std::string& reason) = 0; // reason: up to 120 bytes
};

class event_source {
public:
    virtual ~event_source() = default;
    // The handshake is done. `sink` lives until ended() is called.
    virtual void begun(event_sink* sink) = 0;
    // The next text; null when there is none now. Asked again after wake() or when a text was written.
    virtual std::shared_ptr<const std::string> next() = 0;
    // The connection is gone; nothing is asked any more.
    virtual void ended() = 0;
};

} // namespace gateway
