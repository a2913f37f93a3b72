// What one client may use of the server. A client that exceeds a limit is cut; no other client notices.
#pragma once

#include <cstddef>
#include <cstdint>

constexpr std::size_t comm_max_packet_bytes = 1048576; // body of one packet, 1 MiB
constexpr std::size_t comm_max_clients = 1024;         // connected at once
constexpr std::size_t comm_parts_of_places = 16;       // the places, in these parts:
constexpr std::size_t comm_parts_for_one_user = 12;    // the most that one user gets, 768 of 1,024
constexpr std::size_t comm_parts_kept = 1; // for root and the driver's own user alone, 64 of 1,024
constexpr std::size_t comm_pause_unsent_bytes = 262144;   // replies unread: beyond it, requests wait, 256 KiB
constexpr std::uint64_t comm_unread_replies_us = 5000000; // a client that reads nothing for so long is cut
constexpr std::uint64_t comm_incomplete_packet_us = 5000000; // from a packet's first byte to its last

constexpr std::size_t comm_descriptors_beside_clients = 64; // kept free for the driver's own files and pipes

// Shares of one turn, so that no client holds the others up.
constexpr int comm_accepts_per_turn = 16;               // new connections
constexpr int comm_packets_per_client_turn = 1;         // a request waits for one of each flooder
constexpr std::size_t comm_read_bytes_per_turn = 65536; // bytes read from one client
constexpr std::uint64_t comm_turn_us = 5000;            // a turn starts no further client after this long

constexpr std::size_t comm_told_command_bytes =
    64; // of a command word as vrdx_on_hold is told it, NUL included
constexpr std::uint64_t comm_refusals_us =
    5000000; // between two trace lines about refusals for the same reason
constexpr std::size_t comm_freed_buffer_bytes = 4194304; // of clients, then the heap is tidied, 4 MiB

constexpr std::uint64_t comm_last_replies_us = 200000; // at shutdown, for replies still unread
constexpr std::uint64_t comm_accept_pause_us = 100000; // no new connections after running out of descriptors
