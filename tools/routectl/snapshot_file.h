// Files that are read whole and replaced whole.
#pragma once

#include <string>

// Puts `text` into the file `path`: it holds the old text or the new one, never a part. 0, or -1 with errno
// set and nothing left over.
int replace_file(const std::string& path, const std::string& text);

// Reads the file, up to 16 MiB. 0, or -1 with errno set (EFBIG for a larger file).
int read_whole_file(const std::string& path, std::string* text);
