// A real item on the disk, opened as the framework opens it.
#pragma once

#include "fresh_driver.h"
#include "test_files.h"

#include <stdexcept>

class open_item : public fresh_driver {
protected:
    // Writes the item file and opens it, positioned at its start.
    void open_with(const std::string& text) {
        write_file(path(), text);
        metadata_v4_context_free(vrdx_meta);
        vrdx_meta = metadata_v4_context_open(path(), metadata_path());
        if (vrdx_meta == nullptr)
            throw std::runtime_error("the item cannot be opened");
    }
    [[nodiscard]] std::string path() const {
        return directory_.file("router");
    }
    [[nodiscard]] std::string metadata_path() const {
        return directory_.file(".tavrixmeta.router");
    }

    temporary_directory directory_;
};
