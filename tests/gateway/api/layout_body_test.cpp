#include "gateway/api/layout_body.h"

#include "gateway/api/json_reading.h"
#include "gateway/settings/limits.h"

#include <gmock/gmock.h>

namespace gateway {
namespace {

using testing::HasSubstr;

std::string problem_of(const std::string& body) {
    std::string problem;
    const auto read = read_json(body, &problem);
    EXPECT_TRUE(read) << problem;
    if (!read || read_layout(*read, &problem))
        return "it was read";
    return problem;
}

TEST(LayoutBody, IsReadWithAllItsMembers) {
    const json body = json::parse(R"({"inputs": {
        "categories": [{"name": "Cameras", "colour": "blue", "members": [3, 1]}, {"name": "Other"}],
        "order": [5, 4], "colours": {"red": [7, 8], "green": [9]}, "hidden": [16], "favourites": [1, 9]}})");
    std::string problem;
    const auto read = read_layout(body, &problem);
    ASSERT_TRUE(read) << problem;
    EXPECT_EQ(json_text((*read)["inputs"]),
              R"({"categories":[{"name":"Cameras","colour":"blue","members":[3,1]},)"
              R"({"name":"Other","colour":null,"members":[]}],"order":[5,4],)"
              R"("colours":{"red":[7,8],"green":[9]},"hidden":[16],"favourites":[1,9]})");
    EXPECT_EQ((*read)["outputs"], plain_layout()["outputs"]);
    EXPECT_EQ(read_layout(*read, &problem), read) << "what is told can be written back";
}

TEST(LayoutBody, OfAllInputsAndOutputsFits) {
    json all_inputs = json::array(), all_outputs = json::array();
    for (int number = 1; number <= 4096; number++)
        all_inputs.push_back(number);
    for (int number = 1; number <= 1024; number++)
        all_outputs.push_back(number);
    const auto side = [](const json& all) {
        return json{{"categories", {{{"name", "All"}, {"members", all}}}},
                    {"order", all},
                    {"colours", {{"violet", all}}},
                    {"hidden", all},
                    {"favourites", all}};
    };
    std::string problem;
    const auto read = read_layout({{"inputs", side(all_inputs)}, {"outputs", side(all_outputs)}}, &problem);
    ASSERT_TRUE(read) << problem;
    EXPECT_LE(json_text(*read).size(), layout_bytes_limit);
}

TEST(LayoutBody, WhatIsWrongIsSaid) {
    EXPECT_THAT(problem_of("[]"), HasSubstr("\"inputs\", \"outputs\""));
    EXPECT_THAT(problem_of(R"({"sources": {}})"), HasSubstr("\"inputs\", \"outputs\""));
    EXPECT_THAT(problem_of(R"({"inputs": null})"), HasSubstr("\"inputs\": It has to be an object"));
    EXPECT_THAT(problem_of(R"({"outputs": {"hide": []}})"), HasSubstr("\"favourites\""));
    for (const char* list : {"1", "[0]", "[-1]", "[1025]", "[\"1\"]", "[true]", "[1, 2, 1]", "{\"1\": 2}"})
        EXPECT_THAT(problem_of(R"({"outputs": {"hidden": )" + std::string(list) + "}}"),
                    HasSubstr("\"hidden\" of \"outputs\" has to be a list of numbers from 1 to 1024"))
            << list;
    EXPECT_THAT(problem_of(R"({"inputs": {"order": [4097]}})"), HasSubstr("from 1 to 4096"));
    for (const char* colours : {"[]", R"({"pink": [1]})"})
        EXPECT_THAT(problem_of(R"({"inputs": {"colours": )" + std::string(colours) + "}}"),
                    HasSubstr("\"violet\""))
            << colours;
    EXPECT_THAT(problem_of(R"({"inputs": {"colours": {"red": [1], "blue": [2, 1]}}})"),
                HasSubstr("each once"));
}

TEST(LayoutBody, WhatIsWrongWithACategoryIsSaid) {
    const auto problem = [](const std::string& categories) {
        return problem_of(R"({"inputs": {"categories": )" + categories + "}}");
    };
    EXPECT_THAT(problem("{}"), HasSubstr("\"members\""));
    EXPECT_THAT(problem("[1]"), HasSubstr("It has to be an object"));
    EXPECT_THAT(problem(R"([{"name": "a", "order": []}])"), HasSubstr("\"colour\""));
    for (const std::string& name :
         {std::string(R"("")"), std::string(R"("  ")"), std::string("1"), std::string(R"("a\nb")"),
          '"' + std::string(layout_name_limit + 1, 'n') + '"'})
        EXPECT_THAT(problem(R"([{"name": )" + name + "}]"), HasSubstr("1 to 64 bytes")) << name;
    EXPECT_THAT(problem(R"([{"colour": "red"}])"), HasSubstr("\"name\""));
    EXPECT_THAT(problem(R"([{"name": "a"}, {"name": "a"}])"), HasSubstr("each once"));
    EXPECT_THAT(problem(R"([{"name": "a", "colour": "pink"}])"), HasSubstr("\"orange\""));
    EXPECT_THAT(problem(R"([{"name": "a", "colour": "Red"}])"), HasSubstr("or null"));
    EXPECT_THAT(problem(R"([{"name": "a", "members": [5, 5]}])"), HasSubstr("\"members\" of \"inputs\""));
    std::string many = R"({"name": "0"})";
    for (std::size_t at = 1; at <= layout_categories_limit; at++)
        many += R"(, {"name": ")" + std::to_string(at) + R"("})";
    EXPECT_THAT(problem("[" + many + "]"), HasSubstr("at most 64"));
}

} // namespace
} // namespace gateway
