#include "sierra_requests.h"

std::string take_request(const std::vector<crosspoint_take>& takes) {
    std::string text = "**";
    for (const crosspoint_take& take : takes) {
        const bool disconnects = take.source == source_disconnected;
        text += "X" + std::to_string(take.output) + "," + (disconnects ? "-" : std::to_string(take.source)) +
                "," + std::to_string(take.level);
    }
    return text + "!!";
}

std::string output_request(const std::vector<int>& outputs) {
    std::string text = "**";
    for (const int output : outputs) {
        text += "O" + std::to_string(output);
    }
    return text + "!!";
}

std::string lock_request(int output, const std::string& password, bool locks) {
    return "**B" + std::to_string(output) + "," + password + (locks ? ",1!!" : ",0!!");
}
