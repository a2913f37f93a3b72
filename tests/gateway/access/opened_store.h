// A store in a directory of the test's own, which can be opened as often as the test likes.
#pragma once

#include "gateway/access/access_store.h"
#include "temporary_directory.h"

#include <gtest/gtest.h>

constexpr std::int64_t noon = 1700000000; // seconds since 1970

inline std::unique_ptr<gateway::access_store> opened(const std::string& directory) {
    std::string problem;
    auto store = gateway::access_store::open(directory, 5000, &problem);
    EXPECT_TRUE(store) << problem;
    return store;
}

inline std::string problem_of_opening(const std::string& directory) {
    std::string problem;
    const auto store = gateway::access_store::open(directory, 100, &problem);
    return store ? "it was opened" : problem;
}

inline gateway::token wish(const std::string& name, gateway::role right = gateway::role::operate) {
    gateway::token token;
    token.name = name;
    token.right = right;
    return token;
}

inline std::string add(gateway::access_store& store, const gateway::token& token) {
    std::string problem;
    std::string text = store.add(token, noon, &problem);
    EXPECT_NE(text, "") << problem;
    return text;
}

inline void remove(gateway::access_store& store, const std::string& name) {
    std::string problem;
    EXPECT_TRUE(store.remove(name, &problem)) << problem;
}
