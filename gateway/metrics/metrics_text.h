// Writes metrics as text: families with their head lines, samples with their labels.
#pragma once

#include "gateway/metrics/metric_table.h"
#include "gateway/metrics/metrics_format.h"

#include <array>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>

namespace gateway {

// Durations, counted by how long they were.
struct duration_counts {
    // Upper ends of the buckets in milliseconds, and the same in seconds as it is written.
    struct bound {
        std::uint64_t ms;
        const char* seconds;
    };
    static constexpr std::array<bound, 11> bounds = {{{10, "0.01"},
                                                      {20, "0.02"},
                                                      {50, "0.05"},
                                                      {100, "0.1"},
                                                      {200, "0.2"},
                                                      {300, "0.3"},
                                                      {500, "0.5"},
                                                      {700, "0.7"},
                                                      {1000, "1.0"},
                                                      {2000, "2.0"},
                                                      {5000, "5.0"}}};

    std::array<std::uint64_t, bounds.size() + 1> counts{}; // of each bucket alone; the last one has no end
    std::uint64_t sum_ms = 0;

    void add(std::uint64_t ms);
};

class metrics_text {
public:
    using label = std::pair<std::string_view, std::string_view>; // the value is UTF-8
    using labels = std::initializer_list<label>;

    explicit metrics_text(metrics_format format) : format_(format) {}

    // What follows are samples of that metric. Each metric begins once.
    void begin(const metric& about);

    void sample(labels of, double value);
    void sample(labels of, std::uint64_t value);
    void sample(labels of, const duration_counts& counted); // of a histogram

    // The whole text. Nothing is written afterwards.
    std::string finish();

    std::size_t size() const {
        return text_.size();
    }

private:
    void write(std::string_view suffix, labels of, const label* further, std::string_view value);
    void write_label(const label& one, bool first);

    metrics_format format_;
    const metric* family_ = nullptr;
    std::string text_;
};

} // namespace gateway
