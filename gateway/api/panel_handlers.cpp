// The web pages and what they load.
#include "gateway/http/http_text.h"
#include "gateway/panel/panel_files.h"
#include "handlers.h"
#include "problem.h"

namespace gateway {

namespace {

// Scripts, styles and connections of our own alone; nothing inside other pages.
constexpr std::pair<const char*, const char*> page_headers[] = {
    {"Content-Security-Policy",
     "default-src 'none'; script-src 'self'; style-src 'self'; connect-src 'self'; img-src 'self' data:; "
     "frame-ancestors 'none'; base-uri 'none'; form-action 'self'"},
    {"X-Content-Type-Options", "nosniff"},
    {"X-Frame-Options", "DENY"},
    {"Referrer-Policy", "no-referrer"},
    {"Cross-Origin-Opener-Policy", "same-origin"},
    {"Cross-Origin-Resource-Policy", "same-origin"},
};

constexpr const char* for_ever = "public, max-age=31536000, immutable"; // its address changes with it

reply file_reply(const call& incoming, const panel_file& file, const char* keep) {
    reply said;
    for (const auto& [name, value] : page_headers)
        said.headers.emplace_back(name, value);
    said.headers.emplace_back("Cache-Control", keep);
    said.headers.emplace_back("ETag", file.etag);
    if (names_tag(incoming.asked.header("if-none-match").value_or(""), file.etag)) {
        said.status = 304;
        return said;
    }
    said.content_type = file.type;
    said.body = file.bytes;
    return said;
}

} // namespace

void answer_panel_page(api_world&, const incoming_call& incoming, const answer_function& answer) {
    const panel_file* page = panel_page(incoming->asked.path);
    answer(page != nullptr ? file_reply(*incoming, *page, "no-cache")
                           : problem_reply(404, "This gateway was built without that page."));
}

void answer_panel_asset(api_world&, const incoming_call& incoming, const answer_function& answer) {
    const panel_file* file = incoming->parts[0] == panel_build() ? panel_asset(incoming->parts[1]) : nullptr;
    answer(file != nullptr
               ? file_reply(*incoming, *file, for_ever)
               : problem_reply(
                     404, "The pages have no such file; load the page anew, it may be another one now."));
}

void answer_panel_build(api_world&, const incoming_call&, const answer_function& answer) {
    answer(json_reply(200, {{"build", panel_build()}}));
}

} // namespace gateway
