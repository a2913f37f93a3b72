#include "item_facts.h"

#include "display_text.h"
#include "snapshot_file.h"
#include "text.h"

#include <cerrno>
#include <cstring>
#include <sstream>
#include <sys/stat.h>

namespace {

// The value of the last "driver" line. False when there is none.
bool find_driver(const std::string& text, std::string* driver) {
    std::istringstream lines(text);
    bool found = false;
    for (std::string line; std::getline(lines, line);) {
        const char* name = nullptr;
        const char* value = nullptr;
        divide_name_equ_value_pair(chomp(line.data()), &name, &value);
        if (name == nullptr || value == nullptr || std::strcmp(name, "driver") != 0)
            continue;
        found = true;
        *driver = value;
    }
    return found;
}

// The driver program's own test, and the one old name that it knows.
bool is_usable(const std::string& driver) {
    return driver == "sierra_video_aspen_hdsdi" ||
           (driver.starts_with("route_") && driver.find_first_of("/.") == std::string::npos);
}

} // namespace

item_facts examine_item(const std::string& path) {
    struct stat found {};
    if (stat(path.c_str(), &found) == 0 && !S_ISREG(found.st_mode))
        return {false, "the item file is no regular file"};
    std::string text;
    if (read_whole_file(path, &text) < 0) {
        if (errno == EACCES)
            return {};
        return {false, errno == ENOENT
                           ? "there is no item file"
                           : std::string("the item file cannot be read: ") + std::strerror(errno)};
    }
    std::string driver;
    if (!find_driver(text, &driver))
        return {true, "the item file names no driver"};
    if (!is_usable(driver))
        return {true, "the item file names no usable driver: " + in_quotes(cut_to(driver, 40))};
    return {true, {}};
}
