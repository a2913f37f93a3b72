#include "properties.h"

namespace {

// True when there was one to drop.
bool drop_property(port_properties& properties, std::size_t* bytes_in_all, std::string_view name) {
    const auto found = properties.find(name);
    if (found == properties.end())
        return false;
    *bytes_in_all -= found->first.size() + found->second.size();
    properties.erase(found);
    return true;
}

} // namespace

std::size_t bytes_of(const port_properties& properties) {
    std::size_t bytes = 0;
    for (const auto& [name, value] : properties)
        bytes += name.size() + value.size();
    return bytes;
}

bool keep_property(port_properties& properties, std::size_t* bytes_in_all, std::string_view name,
                   std::string_view value) {
    const auto found = properties.find(name);
    if (found != properties.end() && found->second == value)
        return false;
    // A value that cannot be kept must not leave the former one standing.
    const bool dropped = drop_property(properties, bytes_in_all, name);
    const std::size_t bytes = name.size() + value.size();
    if (name.empty() || name.size() > property_name_bytes || value.size() > property_value_bytes ||
        properties.size() >= properties_per_port || *bytes_in_all + bytes > properties_bytes_in_all)
        return dropped;
    properties.emplace(name, value);
    *bytes_in_all += bytes;
    return true;
}
