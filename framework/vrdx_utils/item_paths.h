// Where an item's companions live. For an item DIR/NAME and the metadata directory META (DIR by default):
// META/.tavrixmeta.NAME (metadata), META/.tavrixsock.NAME (client socket), META/.tavrixlog.NAME (log).
#pragma once

#include <string>

// The directory of `item` ("." when it names none), without a trailing slash unless it is "/".
std::string item_directory(const std::string& item);

// The file name of `item`, empty when the path is empty or ends in "/".
std::string item_file_name(const std::string& item);

// The full paths of the companions; `metadir` empty means the item's own directory.
std::string item_metadata_path(const std::string& item, const std::string& metadir);
std::string item_socket_path(const std::string& item, const std::string& metadir);
std::string item_log_path(const std::string& item, const std::string& metadir);
