#include "item_place.h"

#include "item_paths.h"

#include <cstdlib>
#include <string_view>
#include <sys/stat.h>

namespace {

std::string directory_from(const char* variable, const char* standard) {
    const char* value = std::getenv(variable);
    std::string directory = value != nullptr && *value != '\0' ? value : standard;
    while (directory.size() > 1 && directory.back() == '/')
        directory.pop_back();
    return directory;
}

// A file in the working directory is meant by its path, but not where the items are installed.
bool is_short_name(const std::string& item) {
    struct stat here {};
    if (item.find('/') != std::string::npos)
        return false;
    if (stat(item.c_str(), &here) != 0)
        return true;
    struct stat installed {};
    return item.size() > std::string_view(item_suffix).size() && item.ends_with(item_suffix) &&
           stat((items_directory() + '/' + item).c_str(), &installed) == 0 &&
           here.st_dev == installed.st_dev && here.st_ino == installed.st_ino;
}

} // namespace

std::string items_directory() {
    return directory_from("VRDX_ITEMS", "/etc/vrdx/items");
}

std::string run_directory() {
    return directory_from("VRDX_RUN", "/run/vrdx");
}

std::string without_suffix(const std::string& path, const std::string& suffix) {
    if (path.size() <= suffix.size() || !path.ends_with(suffix))
        return {};
    return path.substr(0, path.size() - suffix.size());
}

std::string advice_on(const item_place& place) {
    if (!place.name.empty())
        return " (\"vrdx_routectl list\" shows all routers)";
    const std::string name = without_suffix(item_file_name(place.item), item_suffix);
    if (!name.empty() && item_directory(place.item) == items_directory())
        return " (an installed item is called by its name: \"vrdx_routectl " + name + "\")";
    return {};
}

item_place place_of_installed_item(const std::string& name, const std::string& metadir) {
    const std::string item = items_directory() + '/' + name + item_suffix;
    return {item, run_directory() + '/' + name + socket_suffix,
            item_log_path(item, metadir.empty() ? service_metadata_directory : metadir), name};
}

item_place place_of_item(const std::string& item, const std::string& metadir) {
    if (!is_short_name(item))
        return {item, item_socket_path(item, metadir), item_log_path(item, metadir), {}};
    const std::string name = without_suffix(item, item_suffix);
    return place_of_installed_item(name.empty() ? item : name, metadir);
}
