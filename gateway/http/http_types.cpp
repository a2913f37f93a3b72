#include "http_types.h"

namespace gateway {

namespace {

std::optional<std::string_view> first_value(const std::vector<std::pair<std::string, std::string>>& list,
                                            std::string_view name) {
    for (const auto& [known, value] : list)
        if (known == name)
            return value;
    return std::nullopt;
}

} // namespace

std::optional<std::string_view> request::header(std::string_view name) const {
    return first_value(headers, name);
}

std::optional<std::string_view> request::query_value(std::string_view name) const {
    return first_value(query, name);
}

} // namespace gateway
