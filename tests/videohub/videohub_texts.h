// What a router of four inputs and three outputs says when a client connects, as one text.
#pragma once

#include "videohub_model.h"

#include <string>
#include <string_view>

inline const std::string preamble_text = "PROTOCOL PREAMBLE:\nVersion: 2.7\n\n";
inline const std::string device_text = "VIDEOHUB DEVICE:\n"
                                       "Device present: true\n"
                                       "Model name: Smart Videohub\n"
                                       "Friendly name: Rack 4\n"
                                       "Unique ID: 0123456789AB\n"
                                       "Video inputs: 4\n"
                                       "Video processing units: 0\n"
                                       "Video outputs: 3\n"
                                       "Video monitoring outputs: 0\n"
                                       "Serial ports: 0\n\n";
inline const std::string labels_text = "INPUT LABELS:\n0 Camera 1\n1 Camera 2\n2 \n3 VTR\n\n"
                                       "OUTPUT LABELS:\n0 Studio\n1 Monitor A\n2 Air\n\n";
inline const std::string locks_text = "VIDEO OUTPUT LOCKS:\n0 U\n1 L\n2 O\n\n";
inline const std::string routing_text = "VIDEO OUTPUT ROUTING:\n0 3\n1 0\n2 1\n\n";
inline const std::string end_text = "END PRELUDE:\n\n";
inline const std::string whole_state_text =
    preamble_text + device_text + labels_text + locks_text + routing_text + end_text;

inline std::vector<videohub_block> blocks_of(std::string_view text) {
    videohub_reader reader;
    std::vector<videohub_block> blocks;
    read_videohub_bytes(reader, text, blocks);
    return blocks;
}

// The news of the last block in `text`.
inline videohub_news apply_text(videohub_model& model, std::string_view text) {
    videohub_news news;
    for (const videohub_block& block : blocks_of(text)) {
        news = apply_videohub_block(model, block);
    }
    return news;
}
