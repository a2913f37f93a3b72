// A router as a Videohub shows it: the outputs and inputs of the configuration, numbered from 0, the video
// level, and nothing that the router has not confirmed. One more input, the last one, stands for no source
// and for each source that is not shown.
#pragma once

#include "gateway/routers/shown_router.h"
#include "gateway/settings/videohub_settings.h"
#include "videohub_server_texts.h"

#include <string>
#include <vector>

namespace gateway {

// What clients have to be told. All numbers are those of the hub, ascending, each once.
struct hub_news {
    bool anew = false; // the device came, went or changed its size: all is told anew, the rest is empty
    std::vector<int> input_labels, output_labels;
    std::vector<int> routing; // also where nothing has changed, but a take was decided
};

class shown_hub {
public:
    explicit shown_hub(const videohub_settings& server);

    // News of its router.
    hub_news hear(const router_news& news);
    // The router as it stands; null: there is none. For the beginning, when there is no news.
    void see(const shown_router* router);

    // False: there is no device to show, and what follows is empty.
    [[nodiscard]] bool is_present() const {
        return present_;
    }
    [[nodiscard]] videohub_served_size size() const {
        return {static_cast<int>(input_labels_.size()), static_cast<int>(rows_.size())};
    }
    [[nodiscard]] videohub_device_description device() const;
    [[nodiscard]] const std::string& input_label(int input) const;
    [[nodiscard]] const std::string& output_label(int output) const;
    [[nodiscard]] int source(int output) const;
    // The last input, and no take of the output waits.
    [[nodiscard]] bool shows_other(int output) const;

    // Numbers of the router, from 1; 0 for the last input, which is none of it.
    [[nodiscard]] int router_output(int output) const;
    [[nodiscard]] int router_input(int input) const;
    // -1: it is not shown.
    [[nodiscard]] int hub_output(int router_output) const;

    // Takes of these outputs ended, and no news may come of it: those that can be told now. The others follow
    // as news once the router has confirmed something.
    std::vector<int> echo(const std::vector<int>& outputs);

private:
    struct row {
        int number = 0; // of the router
        std::string label;
        int source = 0;
        bool waits = false;    // what the driver shows is not confirmed; `source` is the last that was
        bool owes = false;     // its source is to be told as soon as it is confirmed
        bool was_told = false; // how its take ended was told, and the take's record has not come yet
    };
    void build(const vrdx::router_picture& picture);
    void hear_input(const vrdx::router_picture& picture, int number, hub_news* news);
    void hear_output(const vrdx::router_picture& picture, int number, hub_news* news);
    void hear_takes(const router_news& news, hub_news* told);
    bool is_told_by_change(const vrdx::take_record& record, row* shown) const;
    [[nodiscard]] int hub_source(const vrdx::level_sources& sources) const;
    [[nodiscard]] int other_source() const;
    row& row_of(int output);
    [[nodiscard]] const row& row_of(int output) const;

    number_list outputs_, inputs_;
    videohub_device_description device_;
    bool present_ = false;
    bool split_levels_ = false; // audio says nothing about video
    std::vector<row> rows_;
    std::vector<int> inputs_shown_;             // numbers of the router
    std::vector<std::string> input_labels_;     // one more than those
    std::vector<int> hub_inputs_, hub_outputs_; // by numbers of the router; -1: not shown
};

// A name as it can stand in a line of the protocol: control characters become blanks, and what is no UTF-8 is
// shown by question marks. Cut to most_videohub_label_bytes.
std::string hub_label(std::string_view name);

} // namespace gateway
