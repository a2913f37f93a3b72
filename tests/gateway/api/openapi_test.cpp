#include "gateway/api/openapi.h"

#include "gateway/api/route_table.h"

#include <set>

namespace gateway {
namespace {

void collect_references(const json& value, std::set<std::string>* found) {
    if (value.is_object())
        for (const auto& [name, member] : value.items()) {
            if (name == "$ref")
                found->insert(member.get<std::string>());
            collect_references(member, found);
        }
    else if (value.is_array())
        for (const json& element : value)
            collect_references(element, found);
}

TEST(OpenApi, EachReferenceLeadsSomewhereAndNothingIsLeftOver) {
    const json document = openapi_document();
    std::set<std::string> references, schemas;
    collect_references(document, &references);
    for (const auto& [name, schema] : document["components"]["schemas"].items())
        schemas.insert("#/components/schemas/" + name);
    schemas.erase("#/components/schemas/Event"); // of the WebSocket, which OpenAPI cannot describe
    EXPECT_EQ(references, schemas);
}

TEST(OpenApi, EachRouteIsThereWithItsErrors) {
    const json document = openapi_document();
    for (const route& row : all_routes()) {
        if (row.operation[0] == '\0')
            continue;
        std::string method;
        for (const char* letter = row.method; *letter != '\0'; letter++)
            method += static_cast<char>(*letter | 0x20);
        const json& operation = document["paths"][row.path][method];
        EXPECT_EQ(operation["operationId"], row.operation);
        EXPECT_EQ(operation.contains("requestBody"), row.body_limit > 0);
        EXPECT_TRUE(operation["responses"].contains("400")) << row.operation;
        EXPECT_EQ(operation["responses"].contains("401"),
                  row.least != role::none || std::string(row.operation) == "beginSession")
            << row.operation;
        for (const auto& [status, response] : operation["responses"].items())
            EXPECT_FALSE(response["description"].get<std::string>().empty()) << row.operation << status;
    }
}

} // namespace
} // namespace gateway
