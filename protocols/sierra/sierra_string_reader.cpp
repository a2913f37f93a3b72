#include "sierra_string_reader.h"

namespace {

bool is_control(char byte) {
    return (byte >= 0 && byte < ' ') || byte == 127;
}

// Three stars in a row begin a string as well: the pair is the last two.
void begin_string(string_reader& reader) {
    const std::size_t first_star = reader.content.empty() ? 0 : 1; // it was added to the content
    reader.stray += reader.content.size() - first_star;
    reader.content.clear();
    reader.inside = true;
    reader.is_short = false;
}

void begin_short_string(string_reader& reader, char byte) {
    reader.content.assign(1, byte);
    reader.inside = true;
    reader.is_short = true;
}

read_result end_string(string_reader& reader) {
    if (!reader.is_short) {
        reader.content.pop_back(); // the first "!"
    }
    reader.inside = false;
    reader.last = 0;
    reader.unended = 0;
    return read_result::complete;
}

} // namespace

read_result read_byte(string_reader& reader, char byte) {
    if (reader.unended >= longest_string) {
        reader.content.clear();
        return read_result::too_long;
    }
    ++reader.unended;
    if (is_control(byte)) {
        return read_result::more;
    }
    if (!reader.inside && reader.last == 0) {
        reader.content.clear(); // handed out before
    }
    const char before = reader.last;
    reader.last = byte;
    if (byte == '*' && before == '*') {
        begin_string(reader);
        return read_result::more;
    }
    if (!reader.inside && before == '*') {
        begin_short_string(reader, byte);
        return read_result::more;
    }
    if (!reader.inside) {
        reader.stray += byte == '*' || byte == ' ' ? 0 : 1;
        return read_result::more;
    }
    if (byte == '!' && (before == '!' || reader.is_short)) {
        return end_string(reader);
    }
    reader.content.push_back(byte);
    return read_result::more;
}
