// What the backend vrdx_route_stamped wrote down, and the items that name it.
#pragma once

#include "test_files.h"

#include <cstdint>
#include <fstream>
#include <set>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

struct stamp {
    std::uint64_t read_at; // monotonic_us
    std::string what;      // "take", "flush" or "other"
    int output = -1;       // of a take; 0-based
    int input = -1;
};

class stamped_backend {
public:
    explicit stamped_backend(const temporary_directory& directory) : directory_(directory) {}

    // Writes the item of a router of this size; its path.
    [[nodiscard]] std::string item(int inputs, int outputs) const {
        write_file(directory_.file("item"),
                   "driver=route_stamped\nstay resident=1\ninputs=" + std::to_string(inputs) +
                       "\noutputs=" + std::to_string(outputs) + "\nstamps=" + stamps_file() +
                       "\nhold=" + hold_file() + "\nfail=" + fail_file() + "\n");
        return directory_.file("item");
    }
    [[nodiscard]] std::string hold_file() const {
        return directory_.file("hold");
    }
    [[nodiscard]] std::string fail_file() const {
        return directory_.file("fail");
    }
    // All whole lines so far.
    [[nodiscard]] std::vector<stamp> stamps() const {
        std::vector<stamp> all;
        if (!file_exists(stamps_file()))
            return all;
        const std::string text = read_file(stamps_file());
        std::istringstream lines(text.substr(0, text.rfind('\n') + 1));
        for (std::string line; std::getline(lines, line);) {
            std::istringstream parts(line);
            stamp one{};
            parts >> one.read_at >> one.what >> one.output >> one.input;
            if (one.what != "take")
                one.output = one.input = -1;
            all.push_back(one);
        }
        return all;
    }
    // How many takes it has read; looks only at what is new since the last call.
    std::size_t count_takes() {
        std::ifstream stream(stamps_file());
        stream.seekg(looked_at_);
        for (std::string line; std::getline(stream, line) && !stream.eof();) {
            counted_ += line.find(" take ") != std::string::npos ? 1U : 0U;
            looked_at_ = stream.tellg();
        }
        return counted_;
    }
    // Output and input of each take that it read, 1-based as clients say them.
    [[nodiscard]] std::multiset<std::pair<int, int>> takes() const {
        std::multiset<std::pair<int, int>> all;
        for (const stamp& one : stamps())
            if (one.what == "take")
                all.insert({one.output + 1, one.input + 1});
        return all;
    }

private:
    [[nodiscard]] std::string stamps_file() const {
        return directory_.file("stamps");
    }

    const temporary_directory& directory_;
    std::streamoff looked_at_ = 0;
    std::size_t counted_ = 0;
};
