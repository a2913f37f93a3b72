#include "checks.h"

outcome passed(const std::string& detail) {
    return {verdict::ok, detail};
}

outcome failed(const std::string& reason) {
    return {verdict::failed, reason};
}

outcome skipped(const std::string& reason) {
    return {verdict::skipped, reason};
}
