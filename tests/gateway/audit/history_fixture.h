// Entries as tests need them, and a history in a directory of the test's own.
#pragma once

#include "gateway/audit/history_file.h"
#include "gateway/audit/history_query.h"
#include "temporary_directory.h"

#include <gtest/gtest.h>

constexpr std::int64_t noon_us = 1700000000000000; // microseconds since 1970
constexpr std::int64_t day_us = 86400000000;
constexpr const char* epoch_a = "00112233445566aa";
constexpr const char* epoch_b = "ff112233445566bb"; // as a number with a sign it is negative

inline gateway::history_entry take_entry(const std::string& router, int output, std::int64_t number,
                                         const std::string& epoch = epoch_a) {
    gateway::history_entry entry;
    entry.time_us = noon_us + number;
    entry.router = router;
    entry.output = output;
    entry.by = "desk";
    entry.through = gateway::through_gateway;
    entry.result = "confirmed";
    entry.epoch = epoch;
    entry.number = number;
    return entry;
}

inline gateway::record_mark mark_of(const std::string& router, const std::string& epoch, std::int64_t first,
                                    bool heard_before = false) {
    return {router, epoch, first, noon_us, heard_before};
}

class kept_history : public testing::Test {
protected:
    temporary_directory state;
    std::unique_ptr<gateway::history_file> file = opened({100, 0, noon_us});

    std::unique_ptr<gateway::history_file> opened(const gateway::history_file::run& run) {
        std::string problem;
        auto found = gateway::history_file::open(state.path(), run, &problem);
        EXPECT_TRUE(found) << problem;
        return found;
    }

    // What was new of it.
    std::vector<gateway::history_entry> write(const std::vector<gateway::history_item>& batch) {
        std::vector<gateway::history_entry> written;
        std::string problem;
        EXPECT_TRUE(file->write(batch, &written, &problem)) << problem;
        return written;
    }

    std::vector<gateway::history_entry> read(const gateway::history_query& query) {
        std::string problem;
        std::vector<gateway::history_entry> entries;
        const auto reading = gateway::history_reading::open(state.path(), &problem);
        EXPECT_TRUE(reading && reading->read(query, &entries, &problem)) << problem;
        return entries;
    }
    std::vector<gateway::history_entry> read_all() {
        gateway::history_query query;
        query.beyond_routers = true;
        query.limit = 1000000;
        return read(query);
    }
};
