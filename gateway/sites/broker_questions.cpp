#include "broker_questions.h"

#include "broker_options.h"
#include "plain_text.h"
#include "site_limits.h"

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <utility>

namespace gateway {
namespace {

struct free_message {
    void operator()(natsMsg* message) const {
        natsMsg_Destroy(message);
    }
};
using owned_message = std::unique_ptr<natsMsg, free_message>;

constexpr const char* message_id_header = "Nats-Msg-Id";

// What comes in for the questions under way; filled from the library's thread. It is waited for here: the
// library waits by the clock of the day, and for an hour more where that is put back by one.
struct heard_answers {
    std::mutex mutex; // of what follows
    std::condition_variable came;
    std::uint64_t first = 1;            // number of the first question
    std::vector<broker_answer> answers; // from it on
    std::size_t left = 0;               // without an answer

    void hear(std::uint64_t number, natsMsg* message) {
        const std::scoped_lock lock(mutex);
        if (number < first || number - first >= answers.size())
            return;
        broker_answer& answer = answers[number - first];
        if (answer.came || answer.nobody)
            return;
        answer.nobody = natsMsg_IsNoResponders(message);
        answer.came = !answer.nobody;
        if (const int length = natsMsg_GetDataLength(message); length > 0)
            answer.data.assign(natsMsg_GetData(message), static_cast<std::size_t>(length));
        if (--left == 0)
            came.notify_all();
    }
};

// What a subscription needs of us until the library is done with it.
struct listening {
    std::shared_ptr<heard_answers> heard;
    std::size_t inbox_length = 0;
};

void hear_answer(natsConnection*, natsSubscription*, natsMsg* message, void* closure) {
    const owned_message owned(message);
    const auto& into = *static_cast<const listening*>(closure);
    const std::string_view subject = natsMsg_GetSubject(message);
    if (const auto number = number_of_digits<std::uint64_t>(subject.substr(into.inbox_length)))
        into.heard->hear(*number, message);
}

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

    natsStatus listen() {
        auto closure = std::make_unique<listening>(listening{heard, inbox.size()});
        natsStatus status =
            natsConnection_Subscribe(&answers, nats, (inbox + '*').c_str(), hear_answer, closure.get());
        if (status == NATS_OK)
            status = natsSubscription_SetOnCompleteCB(
                answers, [](void* done) { delete static_cast<listening*>(done); }, closure.release());
        return status;
    }

    natsConnection* nats = nullptr;
    natsSubscription* answers = nullptr;
    std::string inbox; // with a dot at its end
    std::shared_ptr<heard_answers> heard = std::make_shared<heard_answers>();
    bool is_silent = false; // nothing was answered in time: it is of no use any more
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
        status = made->listen(); // before whatever is asked, as it is said first
    if (status != NATS_OK) {
        *problem = std::string("cannot connect to the broker: ") + natsStatus_GetText(status);
        return nullptr;
    }
    return std::unique_ptr<broker_questions>(new broker_questions(std::move(made)));
}

bool broker_questions::is_open() const {
    return !to_->is_silent && !natsConnection_IsClosed(to_->nats);
}

std::string broker_questions::complaint() const {
    const char* text = nullptr;
    if (natsConnection_GetLastError(to_->nats, &text) == NATS_OK || text == nullptr)
        return {};
    return std::string("the broker says: ") + text;
}

std::vector<broker_answer> broker_questions::ask(const std::vector<broker_question>& questions,
                                                 std::uint64_t ms) {
    heard_answers& heard = *to_->heard;
    {
        const std::scoped_lock lock(heard.mutex);
        heard.first = newest_ + 1;
        heard.answers.assign(questions.size(), {});
        heard.left = questions.size();
    }
    std::size_t said = 0;
    while (said < questions.size() && say(questions[said]))
        said++;
    const auto until = std::chrono::steady_clock::now() + std::chrono::milliseconds(ms);
    std::unique_lock lock(heard.mutex);
    heard.left -= questions.size() - said;
    while (heard.left > 0 && !natsConnection_IsClosed(to_->nats) && std::chrono::steady_clock::now() < until)
        heard.came.wait_for(lock, std::chrono::milliseconds(broker_look_period_ms),
                            [&] { return heard.left == 0; });
    to_->is_silent = heard.left > 0 && heard.left == said;
    return std::exchange(heard.answers, {});
}

bool broker_questions::say(const broker_question& question) {
    natsMsg* made = nullptr;
    const std::string reply = to_->inbox + std::to_string(++newest_);
    if (natsMsg_Create(&made, question.subject.c_str(), reply.c_str(), question.data.data(),
                       static_cast<int>(question.data.size())) != NATS_OK)
        return false;
    const owned_message message(made);
    if (!question.message_id.empty() &&
        natsMsgHeader_Set(made, message_id_header, question.message_id.c_str()) != NATS_OK)
        return false;
    return natsConnection_PublishMsg(to_->nats, made) == NATS_OK;
}

} // namespace gateway
