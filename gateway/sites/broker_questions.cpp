#include "broker_questions.h"

#include "broker_options.h"
#include "plain_text.h"
#include "site_limits.h"

#include <chrono>

namespace gateway {
namespace {

std::int64_t now_ms() {
    return std::chrono::duration_cast<std::chrono::milliseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

struct free_message {
    void operator()(natsMsg* message) const {
        natsMsg_Destroy(message);
    }
};
using owned_message = std::unique_ptr<natsMsg, free_message>;

constexpr const char* message_id_header = "Nats-Msg-Id";

} // namespace

struct broker_questions::connection {
    connection() = default;
    ~connection() {
        natsSubscription_Destroy(answers);
        if (nats != nullptr)
            natsConnection_Close(nats);
        natsConnection_Destroy(nats);
    }
    connection(const connection&) = delete;
    connection& operator=(const connection&) = delete;

    natsConnection* nats = nullptr;
    natsSubscription* answers = nullptr;
    std::string inbox; // with a dot at its end
};

broker_questions::broker_questions(std::unique_ptr<connection> made) : to_(std::move(made)) {}

broker_questions::~broker_questions() = default;

std::unique_ptr<broker_questions> broker_questions::connect(const site_settings& settings,
                                                            const std::string& run, std::string* problem) {
    const broker_options options = options_for(settings, problem);
    if (!options)
        return nullptr;
    auto made = std::make_unique<connection>();
    made->inbox = "vi." + settings.site + '.' + run + '.';
    natsStatus status = natsConnection_Connect(&made->nats, options.get());
    if (status == NATS_OK)
        status = natsConnection_SubscribeSync(&made->answers, made->nats, (made->inbox + '*').c_str());
    if (status == NATS_OK)
        status = natsConnection_FlushTimeout(made->nats, static_cast<std::int64_t>(connect_time_limit_ms));
    if (status != NATS_OK) {
        *problem = std::string("cannot connect to the broker: ") + natsStatus_GetText(status);
        return nullptr;
    }
    return std::unique_ptr<broker_questions>(new broker_questions(std::move(made)));
}

bool broker_questions::is_open() const {
    return !natsConnection_IsClosed(to_->nats);
}

std::string broker_questions::complaint() const {
    const char* text = nullptr;
    if (natsConnection_GetLastError(to_->nats, &text) == NATS_OK || text == nullptr)
        return {};
    return std::string("the broker says: ") + text;
}

std::vector<broker_answer> broker_questions::ask(const std::vector<broker_question>& questions,
                                                 std::uint64_t ms) {
    std::vector<broker_answer> answers(questions.size());
    const std::uint64_t first = newest_ + 1;
    std::size_t waited_for = 0;
    for (const broker_question& each : questions) {
        natsMsg* made = nullptr;
        const std::string reply = to_->inbox + std::to_string(++newest_);
        if (natsMsg_Create(&made, each.subject.c_str(), reply.c_str(), each.data.data(),
                           static_cast<int>(each.data.size())) != NATS_OK)
            return answers;
        const owned_message message(made);
        if (!each.message_id.empty() &&
            natsMsgHeader_Set(made, message_id_header, each.message_id.c_str()) != NATS_OK)
            return answers;
        if (natsConnection_PublishMsg(to_->nats, made) != NATS_OK)
            break;
        waited_for++;
    }
    const std::int64_t until = now_ms() + static_cast<std::int64_t>(ms);
    while (waited_for > 0) {
        natsMsg* came = nullptr;
        const std::int64_t left = until - now_ms();
        if (left <= 0)
            break;
        const natsStatus status = natsSubscription_NextMsg(&came, to_->answers, left);
        if (status == NATS_NO_RESPONDERS) // the library does not say of which; they all have one subject
            for (broker_answer& answer : answers)
                answer.nobody = answer.nobody || !answer.came;
        if (status != NATS_OK)
            break;
        const owned_message message(came);
        const std::string_view subject = natsMsg_GetSubject(came);
        const auto number = number_of_digits<std::uint64_t>(subject.substr(to_->inbox.size()));
        if (!number || *number < first || *number > newest_)
            continue;
        broker_answer& answer = answers[*number - first];
        if (answer.came)
            continue;
        answer.came = true;
        if (const int length = natsMsg_GetDataLength(came); length > 0)
            answer.data.assign(natsMsg_GetData(came), static_cast<std::size_t>(length));
        waited_for--;
    }
    return answers;
}

} // namespace gateway
