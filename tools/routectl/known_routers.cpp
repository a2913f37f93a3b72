#include "known_routers.h"

#include <filesystem>
#include <map>
#include <system_error>

namespace {

// The names of the files in `directory` that end in `suffix`, without it. 0, or -1 with *error.
int names_in(const std::string& directory, const char* suffix, std::vector<std::string>* names,
             std::string* error) {
    std::error_code reason;
    std::filesystem::directory_iterator entry(directory, reason);
    for (; !reason && entry != std::filesystem::directory_iterator(); entry.increment(reason)) {
        const std::string name = without_suffix(entry->path().filename().string(), suffix);
        if (!name.empty() && name.front() != '.')
            names->push_back(name);
    }
    if (!reason || reason == std::errc::no_such_file_or_directory)
        return 0;
    *error = "cannot read " + directory + ": " + reason.message();
    return -1;
}

} // namespace

int find_known_routers(std::vector<item_place>* routers, std::string* error) {
    std::vector<std::string> items;
    std::vector<std::string> sockets;
    int result = names_in(items_directory(), item_suffix, &items, error);
    const bool sockets_known = names_in(run_directory(), socket_suffix, &sockets, error) == 0;
    if (!sockets_known)
        result = -1;
    std::map<std::string, item_place> known;
    for (const std::string& name : items) {
        item_place& place = known[name] = place_of_installed_item(name, {});
        if (sockets_known)
            place.socket.clear();
    }
    for (const std::string& name : sockets) {
        item_place& place = known[name];
        place.name = name;
        place.socket = place_of_installed_item(name, {}).socket;
    }
    for (const auto& [name, place] : known)
        routers->push_back(place);
    return result;
}
