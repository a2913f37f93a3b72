#include "panel_files.h"

#include "embedded_files.h"

#include <algorithm>
#include <array>
#include <map>
#include <utility>

namespace gateway {

namespace {

using files_by_name = std::map<std::string, panel_file, std::less<>>;

constexpr std::array<std::pair<std::string_view, std::string_view>, 3> types{{
    {".css", "text/css; charset=utf-8"},
    {".html", "text/html; charset=utf-8"},
    {".js", "text/javascript; charset=utf-8"},
}};

std::string type_of(std::string_view name) {
    const auto* const found = std::find_if(types.begin(), types.end(),
                                           [&](const auto& each) { return name.ends_with(each.first); });
    return found == types.end() ? "application/octet-stream" : std::string(found->second);
}

// "index.html" is "/", "panel.html" is "/panel".
std::string page_path(std::string_view name) {
    name.remove_suffix(std::string_view(".html").size());
    return name == "index" ? "/" : "/" + std::string(name);
}

files_by_name read_files(bool pages) {
    files_by_name files;
    for (const embedded_file& each : embedded_files()) {
        if (each.is_page != pages)
            continue;
        panel_file file{type_of(each.name), '"' + std::string(each.hash) + '"',
                        std::make_shared<const std::string>(each.bytes, each.bytes + each.size)};
        files.emplace(pages ? page_path(each.name) : each.name, std::move(file));
    }
    return files;
}

const panel_file* find_in(const files_by_name& files, std::string_view name) {
    const auto found = files.find(name);
    return found == files.end() ? nullptr : &found->second;
}

} // namespace

const panel_file* panel_page(std::string_view path) {
    static const files_by_name pages = read_files(true);
    return find_in(pages, path);
}

const panel_file* panel_asset(std::string_view name) {
    static const files_by_name assets = read_files(false);
    return find_in(assets, name);
}

std::string_view panel_build() {
    return embedded_build();
}

} // namespace gateway
