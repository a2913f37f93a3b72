#include "openapi.h"

#include "gateway/http/http_text.h"
#include "gateway/settings/limits.h"
#include "problem.h"
#include "route_table.h"

#ifndef VRDX_VERSION
#define VRDX_VERSION "0"
#endif

namespace gateway {

namespace {

json reference(const char* schema) {
    return {{"$ref", std::string("#/components/schemas/") + schema}};
}

json content(const char* type, const char* schema) {
    return {{type, {{"schema", reference(schema)}}}};
}

json response(const documented_reply& each) {
    json said{{"description", each.text}};
    if (std::string_view(each.schema) == "Metrics") {
        for (const char* type : {"text/plain", "application/openmetrics-text"})
            said["content"][type] = {{"schema", reference(each.schema)}};
    } else if (each.schema[0] != '\0') {
        const bool problem = std::string_view(each.schema) == "Problem";
        said["content"] = content(problem ? "application/problem+json" : "application/json", each.schema);
    }
    if (std::string_view(each.schema) == "History")
        said["content"]["text/csv"] = {{"schema", {{"type", "string"}}}};
    if (std::string_view(each.schema) == "Picture")
        said["headers"] = {{"ETag", {{"schema", {{"type", "string"}}}}}};
    return said;
}

json responses(const route& row) {
    json said = json::object();
    for (const documented_reply& each : row.replies)
        said[std::to_string(each.status)] = response(each);
    for (const documented_reply& each : common_replies(row))
        if (!said.contains(std::to_string(each.status)))
            said[std::to_string(each.status)] = response(each);
    said["default"] = response({0, "Problem", "Any other problem"});
    return said;
}

json path_parameter(const char* name, const json& schema, const char* text) {
    return {{"name", name}, {"in", "path"}, {"required", true}, {"description", text}, {"schema", schema}};
}

json header_parameter(const char* name, const json& schema, const char* text) {
    return {{"name", name}, {"in", "header"}, {"required", false}, {"description", text}, {"schema", schema}};
}

json query_parameter(const char* name, const json& schema, const char* text) {
    return {{"name", name}, {"in", "query"}, {"required", false}, {"description", text}, {"schema", schema}};
}

void add_history_parameters(json* list) {
    const json time{{"type", "string"}, {"format", "date-time"}};
    json routers = query_parameter("router", {{"type", "array"}, {"items", {{"type", "string"}}}},
                                   "Only this router; may stand several times");
    routers["explode"] = true;
    list->push_back(std::move(routers));
    list->push_back(query_parameter("output", {{"type", "integer"}, {"minimum", 1}}, "Only this output"));
    list->push_back(
        query_parameter("by", {{"type", "string"}, {"minLength", 1}}, "Only of this token or user"));
    list->push_back(query_parameter("since", time, "Not before that time"));
    list->push_back(query_parameter("until", time, "Not after that time"));
    list->push_back(query_parameter("limit",
                                    {{"type", "integer"},
                                     {"minimum", 1},
                                     {"maximum", history_rows_limit},
                                     {"default", history_rows_usual}},
                                    "At most so many, the newest"));
    list->push_back(
        query_parameter("format", {{"enum", {"json", "csv"}}}, "Instead of the header Accept: text/csv"));
}

json parameters(const route& row) {
    const std::string_view path = row.path, operation = row.operation;
    json list = json::array();
    if (path.find("{router}") != std::string_view::npos)
        list.push_back(path_parameter("router", {{"type", "string"}}, "The router's name"));
    if (path.find("{number}") != std::string_view::npos)
        list.push_back(path_parameter("number", {{"type", "integer"}, {"minimum", 1}},
                                      "Number of the output or input, from 1"));
    if (operation == "take" || operation == "recallPreset" || operation == "undoPreset")
        list.push_back(header_parameter(
            "Idempotency-Key", {{"type", "string"}, {"minLength", 1}, {"maxLength", 128}},
            "The same key and body within 60 seconds get the first answer, and take nothing"));
    if (path.find("{preset}") != std::string_view::npos)
        list.push_back(
            path_parameter("preset", {{"type", "string"}, {"minLength", 1}, {"maxLength", preset_name_limit}},
                           "The preset's name, without slashes"));
    if (operation == "getPreset" || operation == "writePreset")
        list.push_back({{"name", "snapshot"},
                        {"in", "query"},
                        {"required", false},
                        {"description", "A router: the body is a file of `vrdx_routectl save` of it"},
                        {"schema", {{"type", "string"}}}});
    if (operation.ends_with("Layout"))
        list.push_back(query_parameter("panel", {{"type", "string"}, {"minLength", 1}},
                                       "The name of another token, whose layout it is; role admin"));
    if (operation == "getRouter")
        list.push_back(
            header_parameter("If-None-Match", {{"type", "string"}}, "An ETag that is known already"));
    if (operation == "getHistory")
        add_history_parameters(&list);
    if (operation == "hearEvents")
        list.push_back({{"name", "router"},
                        {"in", "query"},
                        {"required", false},
                        {"description", "Only this router; may stand several times"},
                        {"explode", true},
                        {"schema", {{"type", "array"}, {"items", {{"type", "string"}}}}}});
    return list;
}

json operation(const route& row) {
    json said{{"operationId", row.operation}, {"summary", row.summary}};
    if (row.least != role::none)
        said["x-least-role"] = role_word(row.least);
    said["security"] = row.least == role::none
                           ? json::array()
                           : json::array({json{{"token", json::array()}}, json{{"session", json::array()}}});
    if (json list = parameters(row); !list.empty())
        said["parameters"] = std::move(list);
    if (row.request_schema[0] != '\0')
        said["requestBody"] = {{"required", true},
                               {"content", content("application/json", row.request_schema)}};
    said["responses"] = responses(row);
    return said;
}

} // namespace

json openapi_document() {
    json paths = json::object();
    for (const route& row : all_routes())
        if (row.operation[0] != '\0')
            paths[row.path][small_letters(row.method)] = operation(row);
    return {{"openapi", "3.1.0"},
            {"info",
             {{"title", "vrdx_gateway"},
              {"version", VRDX_VERSION},
              {"summary", "The routers of a machine: pictures, takes, locks, events"}}},
            {"jsonSchemaDialect", "https://json-schema.org/draft/2020-12/schema"},
            {"paths", std::move(paths)},
            {"components",
             {{"securitySchemes",
               {{"token", {{"type", "http"}, {"scheme", "bearer"}}},
                {"session", {{"type", "apiKey"}, {"in", "cookie"}, {"name", "vrdx_session"}}}}},
              {"schemas", schemas()}}}};
}

} // namespace gateway
