// Where a router's files are, by the path of its item file or by the short name of an installed one.
#pragma once

#include <string>

// The installed items and the sockets of their services: $VRDX_ITEMS or /etc/vrdx/items, $VRDX_RUN or
// /run/vrdx. Without a trailing slash.
std::string items_directory();
std::string run_directory();

// The metadata directory of the services.
constexpr const char* service_metadata_directory = "/var/lib/vrdx";

// What the name of an installed item file ends in, and that of its socket.
constexpr const char* item_suffix = ".item";
constexpr const char* socket_suffix = ".sock";

struct item_place {
    std::string item;   // path of the item file; empty when only a socket is known
    std::string socket; // path of the driver's socket
    std::string log;    // path of the log file that the driver has with --stderr-to-log; empty: not known
    std::string name;   // short name of an installed item; empty for a path
};

// `item` is a path, or, when it has no slash and no such file exists, the short name of an installed item,
// with or without its suffix. In the directory of the installed items their file names are short names, too.
// An empty `metadir` means the item's own directory, for an installed item that of the services. `item` must
// name something (item_file_name is not empty).
item_place place_of_item(const std::string& item, const std::string& metadir);

// The place of the installed item with this short name.
item_place place_of_installed_item(const std::string& name, const std::string& metadir);

// What to say when nobody serves the place: how to find the right name. Begins with a blank; may be empty.
std::string advice_on(const item_place& place);

// `path` without `suffix`, empty when it does not end in it or is nothing else.
std::string without_suffix(const std::string& path, const std::string& suffix);
