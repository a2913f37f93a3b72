// Looks at the bytes of a request's head before they are parsed: refuses what two readers could understand in
// two ways.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace gateway {

// How many bytes at the front are empty lines, which old clients send behind a body.
std::size_t empty_lines(std::string_view bytes);

// Length of the head with the empty line that ends it; 0 while it is not whole. *looked, 0 at first, is how
// far earlier calls for the same head have looked.
std::size_t head_length(std::string_view bytes, std::size_t* looked);

// What is wrong with a whole head, as a sentence; "" for nothing. Wrong are: control characters, a line that
// ends without CR, folded lines, no or two Host, two Content-Length, Content-Length beside Transfer-Encoding,
// and another Transfer-Encoding than "chunked".
std::string head_problem(std::string_view head);

} // namespace gateway
