#include "gateway/routers/router_places.h"

#include "gateway/routers/board_limits.h"

#include <cerrno>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <string_view>
#include <sys/stat.h>

namespace gateway {

namespace {

constexpr std::string_view item_suffix = ".item";
constexpr std::string_view socket_suffix = ".sock";

struct directory_closer {
    void operator()(DIR* directory) const {
        closedir(directory);
    }
};

std::string name_of(std::string_view file, std::string_view suffix) {
    if (file.size() <= suffix.size() || file.front() == '.' || !file.ends_with(suffix))
        return {};
    return std::string(file.substr(0, file.size() - suffix.size()));
}

// Calls visit(name, stat) for each entry with this suffix. False with *problem when the directory cannot be
// read to its end.
template<typename visitor>
bool each_entry(const std::string& directory, std::string_view suffix, std::string* problem,
                const visitor& visit) {
    const std::unique_ptr<DIR, directory_closer> entries(opendir(directory.c_str()));
    std::size_t looked_at = 0;
    errno = entries == nullptr ? errno : 0;
    while (entries != nullptr) {
        errno = 0;
        const dirent* entry = readdir(entries.get());
        if (entry == nullptr)
            break;
        if (++looked_at > directory_entries_limit) {
            *problem = directory + " has more than " + std::to_string(directory_entries_limit) +
                       " entries; the rest is not looked at";
            return true;
        }
        struct stat about {};
        const std::string name = name_of(entry->d_name, suffix);
        if (!name.empty() && fstatat(dirfd(entries.get()), entry->d_name, &about, AT_SYMLINK_NOFOLLOW) == 0)
            visit(name, about);
    }
    if (errno == 0 || errno == ENOENT)
        return true;
    *problem = "cannot read " + directory + ": " + std::strerror(errno);
    return false;
}

} // namespace

places_reading read_places(const std::string& items_directory, const std::string& run_directory) {
    places_reading reading;
    reading.items_known = each_entry(items_directory, item_suffix, &reading.problem,
                                     [&](const std::string& name, const struct stat& about) {
                                         if (S_ISREG(about.st_mode))
                                             reading.places[name].has_item = true;
                                     });
    reading.sockets_known =
        each_entry(run_directory, socket_suffix, &reading.problem,
                   [&](const std::string& name, const struct stat& about) {
                       if (S_ISSOCK(about.st_mode))
                           reading.places[name].socket = {about.st_ino, about.st_ctim.tv_sec * 1000000000LL +
                                                                            about.st_ctim.tv_nsec};
                   });
    return reading;
}

std::uint64_t socket_inode_at(const std::string& path) {
    struct stat about {};
    return lstat(path.c_str(), &about) == 0 && S_ISSOCK(about.st_mode) ? about.st_ino : 0;
}

} // namespace gateway
