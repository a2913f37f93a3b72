// The routers of this host: the installed items, and the sockets of their services.
#pragma once

#include "item_place.h"

#include <string>
#include <vector>

// One place for each name, in the order of the names; an `item` or a `socket` that does not exist is empty,
// except that each item has its socket when nobody can say which sockets exist. 0, or -1 with *error in one
// line when a directory cannot be read; the other's routers are there all the same. A directory that does not
// exist holds none.
int find_known_routers(std::vector<item_place>* routers, std::string* error);
