// Unix socket paths of any length: what does not fit an address is reached through a descriptor.
#pragma once

#include <string>

// Connects `fd` (a Unix stream socket) to the socket at `path`. 0, or -1 with errno set.
int connect_socket_path(int fd, const std::string& path);

// Binds `fd` to `path` with the given mode (umask does not matter), starts listening with `backlog`, and only
// then lets the socket appear under its name. Fails with EEXIST when the name is in use; never follows or
// replaces what is there. 0, or -1 with errno set.
int bind_socket_path(int fd, const std::string& path, unsigned mode, int backlog);
