// The item on disk: the item file itself and the metadata kept beside it.
//
// Metadata is a text file of lines "name=value" for the item and "N:name=value" for its stream N (0-based).
// Lines of any other form are kept as they are and in their place when the file is rewritten.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

// An open item. All descriptors are close-on-exec.
struct metadata_v4_context {
    int file_fd = -1;          // the item file; after a failed reopen a descriptor that is no regular file
    int lock_fd = -1;          // the item file again, carrying the framework's advisory lock; -1 when none
    int dir_fd = -1;           // the directory that `file_name` is relative to
    std::string file_name;     // the item file's name in dir_fd
    std::string metadata_path; // the metadata file
};

struct metadata_v4_metadata_entry {
    std::int32_t stream = -1; // -1: item-wide
    std::string name;
    std::string value;
};

// The metadata of one item. A slot is one line; freeing an entry leaves its slot in place, empty, so that
// every other index stays what it was and a scan by ascending index never skips an entry.
struct metadata_v4_metadata_context {
    struct line {
        std::unique_ptr<metadata_v4_metadata_entry> entry; // null: a line of another form, or a freed entry
        std::string other;                                 // the line of another form
        bool freed = false;
    };
    std::vector<line> lines;
    int file_fd = -1; // the metadata file, open for reading; -1 when there is none or it was closed
};

// Opens the item file `path` and the directory it lies in; metadata is expected at `metadata_path`. The item
// may be anything that can be opened for reading; whoever reads it checks its kind. Never blocks (FIFO).
// Null with errno set when the item cannot be opened. The caller owns the context.
metadata_v4_context* metadata_v4_context_open(const std::string& path, const std::string& metadata_path);
// Closes all descriptors (so the lock ends) and frees the context; null allowed.
void metadata_v4_context_free(metadata_v4_context* context);

// Waits up to `patience_us` for the exclusive lock on the item; 0, or -1 when another process keeps it.
int metadata_v4_context_lock(metadata_v4_context* context, std::uint64_t patience_us);

// Lets go of the item file: file_fd stays valid, but stands for no regular file until the next open.
void metadata_v4_context_close_the_file(metadata_v4_context* context);
// Opens the item file anew, positioned at its start. 0, or -1 with errno set: file_fd is then still valid and
// no regular file.
int metadata_v4_context_open_the_file(metadata_v4_context* context);

// Reads the metadata file of `context`; a missing file is an empty metadata. Null with errno set when the
// file exists but cannot be read, or is no regular file. The caller owns the result.
metadata_v4_metadata_context* metadata_v4_metadata_open(const metadata_v4_context* context);
void metadata_v4_metadata_free(metadata_v4_metadata_context* metadata);

// Count of slots, and the entry in slot `index` (null when the slot holds none or there is no such slot).
std::size_t metadata_v4_metadata_context_count(const metadata_v4_metadata_context* metadata);
metadata_v4_metadata_entry* metadata_v4_metadata_context_read_entry(metadata_v4_metadata_context* metadata,
                                                                    std::size_t index);
// Removes and frees `entry`; its slot stays, empty. An entry of another metadata is left alone.
void metadata_v4_metadata_context_free_metadata_entry(metadata_v4_metadata_context* metadata,
                                                      metadata_v4_metadata_entry* entry);
// Sets the first entry of that stream and name, or appends one. `name` without "=" and line feed.
void metadata_v4_metadata_context_set(metadata_v4_metadata_context* metadata, std::int32_t stream,
                                      const std::string& name, const std::string& value);
// Writes all lines to a temporary file beside the metadata file, syncs it and renames it over. `flags` must
// be 0, `reserved` null. 0 on success; else -1 with errno set, the old file as it was and nothing left over.
int metadata_v4_metadata_context_write_metadata_to_file(const metadata_v4_metadata_context* metadata,
                                                        const metadata_v4_context* context, int flags,
                                                        const void* reserved);
// Closes the metadata file; the entries stay.
void metadata_v4_metadata_close_file(metadata_v4_metadata_context* metadata);
