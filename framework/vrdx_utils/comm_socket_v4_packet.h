// Packets: what clients and server exchange. The bytes are described in docs/packet-protocol.md.
//
// A packet is a command, ordered items (positional argument, end of arguments, name/value) and a 64-bit
// result word. The wire keeps the order in which the items were written.
#pragma once

#include "comm_socket_v4_limits.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

enum class comm_packet_item_kind : unsigned char {
    command = 'C',
    argument = 'A',
    end_of_arguments = 'E',
    name_value = 'N',
};

// One item. The texts live in the packet and each is followed by a NUL byte; a text that contains a NUL of
// its own is seen up to it by whoever reads it as a C string.
struct comm_socket_v4_packet_item {
    comm_packet_item_kind kind;
    std::size_t name_at; // of a name/value item; else 0
    std::size_t name_length;
    std::size_t value_at; // the text of a command or argument, the value of a name/value item
    std::size_t value_length;
};
using comm_socket_v4_packet_nv_pair = comm_socket_v4_packet_item;

struct comm_socket_v4_packet {
    std::uint64_t result = 0; // travels with the packet; 0 unless its writer says otherwise
    std::string bytes;        // writing: header and body so far; reading: the body's texts
    std::vector<comm_socket_v4_packet_item> items; // reading only, in wire order, the command first
    std::vector<std::uint32_t> arguments;          // reading only: indexes into items
    std::vector<std::uint32_t> entries;            // reading only: indexes into items
    bool writing = false;                          // between begin_writing and write_end
    bool too_large = false;                        // the body outgrew comm_max_packet_bytes; it is not kept
};

constexpr std::size_t comm_packet_header_bytes = 20;

using comm_told_command = std::array<char, comm_told_command_bytes>; // ends with a NUL byte

// --- reading -----------------------------------------------------------------------------------------------

// The command word, "" for a packet that was never decoded. Owned by the packet, like all texts below.
const char* comm_socket_v4_packet_get_command(const comm_socket_v4_packet* packet);
// Count of positional arguments, and argument i (0-based), null when there is none.
unsigned comm_socket_v4_packet_get_argc(const comm_socket_v4_packet* packet);
const char* comm_socket_v4_packet_get_argv(const comm_socket_v4_packet* packet, unsigned i);
// Count of name/value entries, and entry i (0-based), null when there is none.
unsigned comm_socket_v4_packet_nv_entries(const comm_socket_v4_packet* packet);
const comm_socket_v4_packet_nv_pair* comm_socket_v4_packet_get_nv_entry(const comm_socket_v4_packet* packet,
                                                                        unsigned i);
// Name and value of an entry; null for a null entry.
const char* comm_socket_v4_packet_get_nv_pair_name(const comm_socket_v4_packet* packet,
                                                   const comm_socket_v4_packet_nv_pair* entry);
const char* comm_socket_v4_packet_get_nv_pair_value_text(const comm_socket_v4_packet* packet,
                                                         const comm_socket_v4_packet_nv_pair* entry);
// The same texts with their full length.
std::string_view comm_socket_v4_packet_item_name(const comm_socket_v4_packet* packet,
                                                 const comm_socket_v4_packet_item& item);
std::string_view comm_socket_v4_packet_item_value(const comm_socket_v4_packet* packet,
                                                  const comm_socket_v4_packet_item& item);

// --- writing -----------------------------------------------------------------------------------------------

// Starts a packet over whatever it held, except `result`. `flags` go to the header (0 today); `first_arg`
// null for none. 0 on success, -1 when `command` is null or empty.
int comm_socket_v4_packet_begin_writing(comm_socket_v4_packet* packet, unsigned flags, const char* command,
                                        const char* first_arg);
void comm_socket_v4_packet_write_arg(comm_socket_v4_packet* packet, std::string_view value);
void comm_socket_v4_packet_write_argv_end(comm_socket_v4_packet* packet);
void comm_socket_v4_packet_write_nv_pair(comm_socket_v4_packet* packet, std::string_view name,
                                         std::string_view value);
// The value formatted like printf.
void comm_socket_v4_packet_write_nv_pairf(comm_socket_v4_packet* packet, std::string_view name,
                                          const char* format, ...) __attribute__((format(printf, 3, 4)));
// Adds the items that stand in the bytes of `other`, which is being written, from byte `from` on.
void comm_socket_v4_packet_append_items(comm_socket_v4_packet* packet, const comm_socket_v4_packet& other,
                                        std::size_t from);
// How many bytes further items may have; 0 once the packet is too large.
std::size_t comm_socket_v4_packet_room(const comm_socket_v4_packet* packet);
constexpr std::size_t comm_packet_entry_bytes = 9; // of a name/value entry, beside its texts

// Completes the packet: length and result word are filled in. 0 on success, -1 when nothing was begun.
// A body beyond comm_max_packet_bytes is no failure here: `too_large` is set and the sender decides.
int comm_socket_v4_packet_write_end(comm_socket_v4_packet* packet);

// --- bytes -------------------------------------------------------------------------------------------------

enum class comm_packet_frame {
    incomplete, // the bytes so far may become a packet: read on
    complete,   // a whole packet stands at the start
    invalid,    // wrong magic or version, or a body of 0 or more than comm_max_packet_bytes: cut the peer
};

// Looks at the first `size` bytes received. When complete, *packet_size is the packet's length, header
// included. A wrong magic is noticed at its first wrong byte.
comm_packet_frame comm_socket_v4_packet_frame(const unsigned char* data, std::size_t size,
                                              std::size_t* packet_size);

// Copies the command word of the packet that begins at `data` to `word`, without looking at the rest; of a
// long word the first comm_told_command_bytes - 1 bytes. *packet_size is the length that the whole packet
// will have. False while the word has not come, and when there is something else in its place.
bool comm_socket_v4_packet_peek_command(const unsigned char* data, std::size_t size, comm_told_command* word,
                                        std::size_t* packet_size);

// Decodes one whole framed packet into `packet` (everything it held is replaced). False when the body is
// malformed: an item cut short, an unknown kind, no leading command, a second command, a second end of
// arguments, or an argument after it.
bool comm_socket_v4_packet_decode(comm_socket_v4_packet* packet, const unsigned char* data, std::size_t size);
