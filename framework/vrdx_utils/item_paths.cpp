#include "item_paths.h"

namespace {

std::string companion(const char* kind, const std::string& item, const std::string& metadir) {
    std::string path = metadir.empty() ? item_directory(item) : metadir;
    if (path.back() != '/')
        path += '/';
    path += ".tavrix";
    path += kind;
    path += '.';
    return path += item_file_name(item);
}

} // namespace

std::string item_directory(const std::string& item) {
    const auto slash = item.rfind('/');
    if (slash == std::string::npos)
        return ".";
    const auto last = item.find_last_not_of('/', slash);
    return last == std::string::npos ? "/" : item.substr(0, last + 1);
}

std::string item_file_name(const std::string& item) {
    return item.substr(item.rfind('/') + 1); // npos + 1 is 0: the whole text
}

std::string item_metadata_path(const std::string& item, const std::string& metadir) {
    return companion("meta", item, metadir);
}

std::string item_socket_path(const std::string& item, const std::string& metadir) {
    return companion("sock", item, metadir);
}

std::string item_log_path(const std::string& item, const std::string& metadir) {
    return companion("log", item, metadir);
}
