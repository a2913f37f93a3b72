// The reading end of a pipe whose writer is a process under test: everything is read at once and kept, so
// that the writer is never held up.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <string>
#include <thread>

class process_stream {
public:
    process_stream();
    ~process_stream();
    process_stream(const process_stream&) = delete;
    process_stream& operator=(const process_stream&) = delete;

    // For the writer; close-on-exec. To be closed on our side once the writer has its copy.
    [[nodiscard]] int write_end() const {
        return write_end_;
    }
    void close_write_end();

    [[nodiscard]] std::string text() const;
    [[nodiscard]] std::size_t size() const;

    // Waits until `wanted` stands at or behind position `from`; the position behind it. Throws at the
    // deadline or at the end of the stream, with the end of the text.
    std::size_t wait_for(const std::string& wanted, std::size_t from = 0);

    // Waits until every writer is gone; the whole text. Throws at the deadline.
    std::string wait_for_end();

private:
    void read_all();

    int read_end_ = -1;
    int stop_fd_ = -1; // written to when the reader is to give up
    int write_end_ = -1;
    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::string text_;
    bool ended_ = false;
    std::thread reader_;
};
