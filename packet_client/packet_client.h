// The client's end of a driver's packet socket: connect, ask, describe, watch, take. docs/packet-protocol.md
// is what it speaks.
//
// A simple program connects with connect_until() and calls what ends in _until: each waits no longer than the
// deadline that it is given. A program with a loop of its own never waits here: it asks open_connection() to
// begin, waits for poll_events() on the descriptor, calls move_bytes(), and reads packets with next_packet()
// until there is none. Both ways may be mixed on one connection. One connection belongs to one thread at a
// time; connections do not know of each other.
//
// Points in time are monotonic_us() counts, in microseconds. Inputs and outputs count from 1.
#pragma once

#include "boot_ms.h"
#include "client_asking.h"
#include "client_connection.h"
#include "client_features.h"
#include "client_limits.h"
#include "client_picture.h"
#include "client_record.h"
#include "client_take.h"
#include "client_watch.h"
#include "monotonic_us.h"
