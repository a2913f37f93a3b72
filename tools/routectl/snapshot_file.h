// Files that are read whole and replaced whole.
#pragma once

#include <string>

// Puts `text` into the file `path`: it holds the old text or the new one, never a part. A file that exists
// keeps its mode, and its owner where that is allowed; a link is followed. Returns an empty text, or the
// reason in one line when the file could not be replaced; then no other file is left either. What exists and
// is no regular file is refused.
std::string replace_file(const std::string& path, const std::string& text);

// Reads the file, up to 16 MiB. 0, or -1 with errno set (EFBIG for a larger file).
int read_whole_file(const std::string& path, std::string* text);
