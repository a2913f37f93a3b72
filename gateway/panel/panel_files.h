// The files of the web pages, which are part of the program.
#pragma once

#include <memory>
#include <string>
#include <string_view>

namespace gateway {

struct panel_file {
    std::string type; // for Content-Type
    std::string etag; // in quotes
    std::shared_ptr<const std::string> bytes;
};

// The page of a path ("/", "/routers", "/history"); null when there is none.
const panel_file* panel_page(std::string_view path);

// A file that pages load, by its name ("store.js"); null when there is none.
const panel_file* panel_asset(std::string_view name);

// Hash of all of them, in hexadecimal: another one when any file is another. Assets are served below it.
std::string_view panel_build();

} // namespace gateway
