#include "commands.h"

namespace {

void expect_output(router_command& status, int output, int levels) {
    for (int level = 1; level <= levels; ++level) {
        status.unseen.emplace(output, level);
    }
}

int level_count(const session& session) {
    return static_cast<int>(session.picture.levels.size());
}

} // namespace

router_command plain_command(command_kind kind) {
    router_command result;
    result.kind = kind;
    switch (kind) {
    case command_kind::letters:
        result.text = letters_request;
        break;
    case command_kind::model:
        result.text = model_request;
        break;
    case command_kind::size:
    case command_kind::resync:
        result.text = size_request;
        break;
    case command_kind::reports:
        result.text = reports_request;
        break;
    case command_kind::delayed_reports:
        result.text = delayed_reports_request;
        break;
    case command_kind::status:
        result.text = status_request;
        break;
    default:
        result.text = link_test_request;
    }
    return result;
}

router_command status_command(const session& session) {
    router_command status = plain_command(command_kind::status);
    for (int output = 1; output <= session.picture.outputs; ++output) {
        expect_output(status, output, level_count(session));
    }
    return status;
}

router_command verify_command(const session& session, const std::vector<int>& outputs) {
    if (session.letters.find('O') == std::string::npos) {
        return status_command(session);
    }
    router_command verify = plain_command(command_kind::verify);
    verify.text = output_request(outputs);
    for (const int output : outputs) {
        expect_output(verify, output, level_count(session));
    }
    return verify;
}
