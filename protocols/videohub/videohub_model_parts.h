// What the sources of the model share.
#pragma once

#include "videohub_model.h"

#include <optional>

// The number that `text` holds, blanks around it allowed; nothing for another text and below `lowest`.
std::optional<int> videohub_number_in(std::string_view text, int lowest);

// `text`, cut off after most_videohub_label_bytes.
std::string cut_videohub_value(std::string_view text);

// The block that describes the device; another device than before makes everything else be forgotten.
void apply_videohub_device(videohub_model& model, const videohub_block& block, videohub_news& news);
