// The metadata of an item "router" in a directory of the test's own.
#pragma once

#include "metadata_v4.h"
#include "temporary_directory.h"
#include "whole_files.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <iterator>
#include <memory>
#include <string>

struct free_metadata {
    void operator()(metadata_v4_metadata_context* metadata) const {
        metadata_v4_metadata_free(metadata);
    }
};
using metadata_ptr = std::unique_ptr<metadata_v4_metadata_context, free_metadata>;

class Metadata : public testing::Test {
protected:
    void SetUp() override {
        item_.metadata_path = path();
    }

    [[nodiscard]] std::string path() const {
        return directory_.file(".tavrixmeta.router");
    }
    [[nodiscard]] long file_count() const {
        return std::distance(std::filesystem::directory_iterator(directory_.path()), {});
    }
    [[nodiscard]] metadata_ptr open_metadata() const {
        return metadata_ptr(metadata_v4_metadata_open(&item_));
    }
    [[nodiscard]] metadata_ptr open_metadata(const std::string& text) const {
        write_file(path(), text);
        return open_metadata();
    }
    [[nodiscard]] int write_back(const metadata_ptr& metadata) const {
        return metadata_v4_metadata_context_write_metadata_to_file(metadata.get(), &item_, 0, nullptr);
    }
    // The file's text after it was read and written back.
    [[nodiscard]] std::string rewritten(const std::string& text) const {
        EXPECT_EQ(write_back(open_metadata(text)), 0);
        return file_text(path());
    }

    temporary_directory directory_;
    metadata_v4_context item_;
};

inline void set(const metadata_ptr& metadata, std::int32_t stream, const std::string& name,
                const std::string& value) {
    metadata_v4_metadata_context_set(metadata.get(), stream, name, value);
}

inline metadata_v4_metadata_entry* entry_at(const metadata_ptr& metadata, std::size_t index) {
    return metadata_v4_metadata_context_read_entry(metadata.get(), index);
}

inline void expect_entry(const metadata_ptr& metadata, std::size_t index, std::int32_t stream,
                         const std::string& name, const std::string& value) {
    const metadata_v4_metadata_entry* entry = entry_at(metadata, index);
    ASSERT_NE(entry, nullptr) << "slot " << index;
    EXPECT_EQ(entry->stream, stream);
    EXPECT_EQ(entry->name, name);
    EXPECT_EQ(entry->value, value);
}
