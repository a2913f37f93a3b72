#include "picture_shelf.h"

#include "time_text.h"

#include <array>
#include <cinttypes>
#include <cstdio>

namespace gateway {

namespace {

std::string hexadecimal(std::uint64_t number) {
    std::array<char, 24> text{};
    std::snprintf(text.data(), text.size(), "%" PRIx64, number);
    return text.data();
}

} // namespace

picture_shelf::picture_shelf(locks_of_router locks)
    : locks_(std::move(locks)), started_(hexadecimal(milliseconds_since_1970())) {}

const written_picture& picture_shelf::of(const shown_router& router) {
    shelved& place = shelf_[router.name];
    const std::string etag = '"' + router.picture.epoch + '-' + started_ + '.' +
                             std::to_string(router.version) + '.' + std::to_string(place.locks_version) + '"';
    if (place.written.etag != etag) {
        place.written.text =
            std::make_shared<const std::string>(json_text(picture_json(router, locks_(router.name))));
        place.written.etag = etag;
    }
    return place.written;
}

void picture_shelf::locks_changed(const std::string& router) {
    shelf_[router].locks_version = ++last_locks_version_;
}

void picture_shelf::forget(const std::string& router) {
    shelf_.erase(router);
}

} // namespace gateway
