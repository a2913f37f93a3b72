#include "test_files.h"

#include <cstdio>
#include <fcntl.h>
#include <fstream>
#include <iterator>
#include <sys/stat.h>
#include <unistd.h>

void write_file(const std::string& path, const std::string& content) {
    std::ofstream stream(path, std::ios::binary | std::ios::trunc);
    stream << content;
    stream.close();
    if (!stream)
        throw std::runtime_error("cannot write " + path);
}

std::string read_file(const std::string& path) {
    std::ifstream stream(path, std::ios::binary);
    if (!stream)
        throw std::runtime_error("cannot read " + path);
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

bool file_exists(const std::string& path) {
    struct stat found {};
    return lstat(path.c_str(), &found) == 0;
}

std::time_t modification_time(const std::string& path) {
    struct stat found {};
    if (stat(path.c_str(), &found) != 0)
        throw std::runtime_error("cannot look at " + path);
    return found.st_mtim.tv_sec;
}

void set_modification_time(const std::string& path, std::time_t seconds) {
    const timespec times[2] = {{seconds, 0}, {seconds, 0}};
    if (utimensat(AT_FDCWD, path.c_str(), times, 0) != 0)
        throw std::runtime_error("cannot set the time of " + path);
}

void replace_file(const std::string& path, const std::string& content) {
    const std::string fresh = path + ".fresh";
    write_file(fresh, content);
    set_modification_time(fresh, modification_time(path) + 10);
    if (std::rename(fresh.c_str(), path.c_str()) != 0)
        throw std::runtime_error("cannot replace " + path);
}

void write_script(const std::string& path, const script& directives) {
    std::string text;
    for (const std::string& directive : directives)
        text += directive + "\n";
    write_file(path, text);
}

std::string write_scripted_item(const temporary_directory& directory, const script& directives,
                                const std::string& further_settings) {
    write_script(directory.file("script"), directives);
    std::string item = directory.file("item");
    write_file(item, "driver=route_scripted\nscript=" + directory.file("script") + "\n" + further_settings);
    return item;
}

script announce_router(int inputs, int outputs, bool split_levels) {
    script directives = {"say *COMMAND=info", "say *TYPE=message", "say inputs=" + std::to_string(inputs),
                         "say outputs=" + std::to_string(outputs)};
    if (split_levels)
        directives.emplace_back("say output routing controls=video,audio");
    directives.emplace_back("blank");
    return directives;
}

script join(const std::vector<script>& parts) {
    script whole;
    for (const script& part : parts)
        whole.insert(whole.end(), part.begin(), part.end());
    return whole;
}

std::string to_hex(const std::string& bytes) {
    std::string hex;
    for (const char byte : bytes) {
        constexpr const char* digits = "0123456789abcdef";
        const auto value = static_cast<unsigned char>(byte);
        hex += digits[value >> 4];
        hex += digits[value & 15];
    }
    return hex;
}
