#include "route_table.h"

#include "gateway/settings/limits.h"
#include "handlers.h"

#include <array>

namespace gateway {

namespace {

constexpr documented_reply no_such_place{404, "Problem", "There is no such output or input."};
constexpr documented_reply no_driver{503, "Problem", "The driver cannot be asked now; nothing was done."};
constexpr documented_reply too_many{429, "Problem", "Too much of this token is at work."};
constexpr documented_reply wrong_content{422, "Problem", "The body is JSON, and not what is possible here."};

const std::vector<documented_reply> name_replies{
    {202, "Name", "The backend has it, and decides; the picture tells"},
    wrong_content,
    no_such_place,
    too_many,
    no_driver};

constexpr documented_reply no_panel{404, "Problem",
                                    "There is no such router, or no such token that sees it."};
constexpr documented_reply no_preset{404, "Problem", "There is no such preset for this token."};

const std::array table{
    route{"", "GET", "/", role::none, "Asks for a token", "", 0, {}, answer_panel_page},
    route{"", "GET", "/routers", role::none, "All routers", "", 0, {}, answer_panel_page},
    route{"", "GET", "/panel", role::none, "Destinations and sources", "", 0, {}, answer_panel_page},
    route{"", "GET", "/matrix", role::none, "All crosspoints", "", 0, {}, answer_panel_page},
    route{"", "GET", "/history", role::none, "Who did what", "", 0, {}, answer_panel_page},
    route{"", "GET", "/presets", role::none, "Takes under a name", "", 0, {}, answer_panel_page},
    route{"", "GET", "/static/build", role::none, "Which pages these are", "", 0, {}, answer_panel_build},
    route{"",
          "GET",
          "/static/{build}/{file}",
          role::none,
          "A file of the pages",
          "",
          0,
          {},
          answer_panel_asset},
    route{"isAlive",
          "GET",
          "/healthz",
          role::none,
          "Does the gateway live?",
          "",
          0,
          {{200, "Health", "It does."}},
          answer_alive},
    route{"isReady",
          "GET",
          "/readyz",
          role::none,
          "Are the routers known?",
          "",
          0,
          {{200, "Health", "Each driver has told its picture, or is known not to run."},
           {503, "Health", "Some are being read."}},
          answer_ready},
    route{"getMetrics",
          "GET",
          "/metrics",
          role::view,
          "Figures of the routers and of the gateway, for monitoring systems",
          "",
          0,
          {{200, "Metrics", "Prometheus text, or OpenMetrics where Accept wants that"}},
          answer_metrics},
    route{"getDocument",
          "GET",
          "/api/v1/openapi.json",
          role::view,
          "This document",
          "",
          0,
          {{200, "Document", "OpenAPI 3.1"}},
          answer_document},
    route{"listRouters",
          "GET",
          "/api/v1/routers",
          role::view,
          "All routers that the token may see, by name",
          "",
          0,
          {{200, "Routers", "The list"}},
          answer_routers},
    route{"getRouter",
          "GET",
          "/api/v1/routers/{router}",
          role::view,
          "The whole picture of a router",
          "",
          0,
          {{200, "Picture", "The picture, with an ETag"}, {304, "", "Nothing has changed since that ETag"}},
          answer_picture},
    route{"take",
          "POST",
          "/api/v1/routers/{router}/takes",
          role::operate,
          "Take sources to outputs, and hear of each what became of it",
          "TakeRequest",
          body_bytes_limit,
          {{200, "TakeResults", "One result for each take, in their order"},
           wrong_content,
           too_many,
           no_driver},
          take_outputs},
    route{"nameOutput", "PUT", "/api/v1/routers/{router}/outputs/{number}/name", role::lock,
          "Give an output a name", "Name", small_body_bytes_limit, name_replies, rename_output},
    route{"nameInput", "PUT", "/api/v1/routers/{router}/inputs/{number}/name", role::lock,
          "Give an input a name", "Name", small_body_bytes_limit, name_replies, rename_input},
    route{"lockOutput",
          "POST",
          "/api/v1/routers/{router}/outputs/{number}/lock",
          role::operate,
          "Lock, protect or unlock an output, or remove another's lock",
          "LockRequest",
          small_body_bytes_limit,
          {{200, "LockAnswer", "The lock as it is now, kept on the disk"},
           {409, "Problem", "Another one holds it."},
           wrong_content,
           no_such_place,
           {500, "Problem", "It could not be written; nothing has changed."}},
          lock_output},
    route{"getLayout",
          "GET",
          "/api/v1/routers/{router}/layout",
          role::view,
          "What the router looks like on the panels of a token",
          "",
          0,
          {{200, "Layout", "The layout; one without anything when none is kept"},
           no_panel,
           {500, "Problem", "It could not be read."}},
          answer_layout},
    route{"writeLayout",
          "PUT",
          "/api/v1/routers/{router}/layout",
          role::view,
          "Keep what the router looks like on the panels of a token; it hides, and forbids nothing",
          "LayoutRequest",
          layout_bytes_limit,
          {{200, "Layout", "The layout as it is now, kept on the disk"},
           no_panel,
           wrong_content,
           {500, "Problem", "It could not be written; nothing has changed."}},
          write_layout},
    route{"removeLayout",
          "DELETE",
          "/api/v1/routers/{router}/layout",
          role::view,
          "Show the router as it is again",
          "",
          0,
          {{204, "", "There is none any more, on the disk, too"},
           no_panel,
           {500, "Problem", "It could not be written; nothing has changed."}},
          remove_layout},
    route{"listPresets",
          "GET",
          "/api/v1/presets",
          role::view,
          "All presets whose routers the token may see, by name",
          "",
          0,
          {{200, "Presets", "The list"}},
          answer_presets},
    route{"getPreset",
          "GET",
          "/api/v1/presets/{preset}",
          role::view,
          "A preset with its takes, or its part on a router as a saved file",
          "",
          0,
          {{200, "PresetOrSnapshot", "The preset, or the file"},
           no_preset,
           wrong_content,
           no_driver,
           {500, "Problem", "It could not be read."}},
          answer_preset},
    route{"writePreset",
          "PUT",
          "/api/v1/presets/{preset}",
          role::lock,
          "Keep takes under a name, in the place of those it had",
          "PresetRequest",
          body_bytes_limit,
          {{200, "Preset", "The preset as it is now, kept on the disk"},
           {409, "Problem", "The name belongs to a preset of routers that the token does not see."},
           wrong_content,
           {500, "Problem", "It could not be written; nothing has changed."}},
          write_preset},
    route{"removePreset",
          "DELETE",
          "/api/v1/presets/{preset}",
          role::lock,
          "Remove a preset",
          "",
          0,
          {{204, "", "It is removed, on the disk, too"},
           no_preset,
           {500, "Problem", "It could not be written; nothing has changed."}},
          remove_preset},
    route{"recallPreset",
          "POST",
          "/api/v1/presets/{preset}/recall",
          role::operate,
          "Take what a preset has, or tell what that would change",
          "RecallRequest",
          small_body_bytes_limit,
          {{200, "RecallAnswer", "One result, or one difference, for each output, in the preset's order"},
           no_preset,
           wrong_content,
           {500, "Problem", "It could not be read; nothing was done."}},
          recall_preset},
    route{"undoPreset",
          "POST",
          "/api/v1/presets/{preset}/undo",
          role::operate,
          "Lead the outputs of the last recall back, where they still show what it brought",
          "UndoRequest",
          small_body_bytes_limit,
          {{200, "RecallResults", "One result for each output that the recall had changed"},
           no_preset,
           {409, "Problem", "There is no recall to undo."},
           wrong_content,
           {500, "Problem", "It could not be read; nothing was done."}},
          undo_preset},
    route{"beginSession",
          "POST",
          "/api/v1/session",
          role::none,
          "Begin a session of a browser: sets a cookie",
          "SessionRequest",
          small_body_bytes_limit,
          {{200, "Session", "The session, with Set-Cookie"},
           {401, "Problem", "That is no token."},
           wrong_content,
           too_many,
           {500, "Problem", "It could not be written."}},
          begin_session},
    route{"getSession",
          "GET",
          "/api/v1/session",
          role::view,
          "Who asks, and what he may",
          "",
          0,
          {{200, "Session", "The token behind this request"}},
          answer_session},
    route{"endSession",
          "DELETE",
          "/api/v1/session",
          role::none,
          "End the session of the cookie",
          "",
          0,
          {{204, "", "There is none any more"}, {500, "Problem", "It may go on after a restart."}},
          end_session},
    route{"makeToken",
          "POST",
          "/api/v1/tokens",
          role::admin,
          "Make a token that may no more than its maker; its text is told this once",
          "TokenRequest",
          small_body_bytes_limit,
          {{201, "NewToken", "The token, with its text"},
           {409, "Problem", "There is one of that name, or too many."},
           wrong_content,
           {500, "Problem", "It could not be written."}},
          make_token},
    route{"getHistory",
          "GET",
          "/api/v1/history",
          role::view,
          "Who did what, newest first; logins for the role admin alone",
          "",
          0,
          {{200, "History", "The entries, as JSON or CSV"},
           {404, "Problem", "There is no such router."},
           {429, "Problem", "Too many questions of this token wait."},
           {503, "Problem", "It cannot be read now, or not in time."}},
          answer_history},
    route{"hearEvents",
          "GET",
          "/api/v1/events",
          role::view,
          "WebSocket: what happens, each message one Event",
          "",
          0,
          {{101, "", "The WebSocket is open"}, {426, "Problem", "Asked without a WebSocket."}, too_many},
          answer_events_without_websocket},
};

std::string_view cut_part(std::string_view* path) {
    path->remove_prefix(1); // '/'
    const std::string_view part = path->substr(0, path->find('/'));
    path->remove_prefix(part.size());
    return part;
}

bool fits(std::string_view pattern, std::string_view path, std::vector<std::string>* parts) {
    parts->clear();
    while (!pattern.empty() && !path.empty()) {
        const std::string_view wanted = cut_part(&pattern), part = cut_part(&path);
        if (wanted.starts_with('{')) {
            if (part.empty())
                return false;
            parts->emplace_back(part);
        } else if (wanted != part)
            return false;
    }
    return pattern.empty() && path.empty();
}

} // namespace

std::span<const route> all_routes() {
    return table;
}

std::vector<documented_reply> common_replies(const route& row) {
    std::vector<documented_reply> replies{
        {400, "Problem", "The request is malformed, or names an unknown host."}};
    const bool writes = std::string_view(row.method) != "GET";
    if (row.least != role::none)
        replies.push_back({401, "Problem", "A token is needed."});
    if (row.least != role::none || writes)
        replies.push_back({403, "Problem", "The token may not do that, or the origin is another."});
    if (std::string_view(row.path).find("{router}") != std::string_view::npos)
        replies.push_back({404, "Problem", "There is no such router."});
    replies.push_back({413, "Problem", "The body is too large."});
    if (row.request_schema[0] != '\0')
        replies.push_back({415, "Problem", "The body is not JSON."});
    replies.push_back({429, "Problem",
                       "Too many wrong tokens came from that address, or this token asks for too much; "
                       "`Retry-After` says for how "
                       "long to wait."});
    replies.push_back({431, "Problem", "The headers are too large."});
    return replies;
}

found_route find_route(std::string_view method, std::string_view path) {
    found_route found;
    std::vector<std::string> parts;
    for (const route& row : table) {
        if (!fits(row.path, path, &parts))
            continue;
        const std::string_view known = row.method;
        if (method == known || (method == "HEAD" && known == "GET")) {
            found.row = &row;
            found.parts = parts;
        }
        if (!found.allowed.empty())
            found.allowed += ", ";
        found.allowed += known == "GET" ? "GET, HEAD" : known;
    }
    return found;
}

} // namespace gateway
