#include "Platform/Linux/CurlWorker.hpp"

#include "Platform/Linux/HttpCheck.hpp"

#include <algorithm>
#include <new>
#include <utility>

namespace Velmor {
namespace {

constexpr std::chrono::milliseconds kLongestWait{60'000};

PlatformError libraryFailure() {
    return {PlatformError::Kind::cannotConnect, "libcurl cannot take the request"};
}

}  // namespace

CurlTicket::CurlTicket(HttpRequest given, HttpTransport::Completion completion)
    : request(std::move(given)), completion_(std::move(completion)) {}

HttpTransport::Completion CurlTicket::take() {
    const Lock lock(mutex_);
    over_.store(true, std::memory_order_release);
    return std::exchange(completion_, {});
}

bool CurlTicket::giveUp() {
    return static_cast<bool>(take());  // destroyed here, outside the lock: it may own anything
}

void CurlTicket::tell(HttpResult result) {
    const auto completion = take();
    if (!completion) return;
    try {
        completion(std::move(result));
    } catch (...) {  // a fault of the caller's; it must not end the thread that serves all others
    }
}

CurlWorker::CurlWorker(HttpOptions options, std::string library)
    : options_(std::move(options)), library_(std::move(library)) {}

void CurlWorker::submit(std::shared_ptr<CurlTicket> ticket) {
    {
        const Lock lock(mutex_);
        if (stopped_) return;
        submitted_.push_back(std::move(ticket));
    }
    wake();
}

void CurlWorker::wake() {
    const Lock lock(mutex_);
    if (multi_ != nullptr) curl_.multi_wakeup(multi_);
    changed_.notifyOne();
}

void CurlWorker::stop() {
    {
        const Lock lock(mutex_);
        stopped_ = true;
    }
    wake();
}

void CurlWorker::run() {
    if (load())
        while (turn()) wait();
    std::vector<std::shared_ptr<CurlTicket>> unsent;
    {
        const Lock lock(mutex_);
        multi_ = nullptr;
        unsent.swap(submitted_);
    }
    for (auto& flight : flights_) {
        flight.ticket->giveUp();
        curl_.multi_remove_handle(own_, flight.transfer->handle());
    }
    flights_.clear();
    for (const auto& ticket : unsent) ticket->giveUp();
    if (own_ != nullptr) curl_.multi_cleanup(own_);
}

// Returns when libcurl is there, or false when it is time to end. Until then requests are told what is wrong.
bool CurlWorker::load() {
    for (;;) {
        {
            Lock lock(mutex_);
            while (!stopped_ && submitted_.empty()) changed_.wait(lock);
            if (stopped_) return false;
        }
        try {
            loadOnce();
            return true;
        } catch (const PlatformError& error) {
            std::vector<std::shared_ptr<CurlTicket>> fresh;
            if (!takeSubmitted(fresh)) return false;
            for (const auto& ticket : fresh) ticket->tell(error);
        }
    }
}

void CurlWorker::loadOnce() {
    curl_ = CurlApi::load(library_);
    own_ = curl_.multi_init();
    if (own_ == nullptr) throw libraryFailure();
    const Lock lock(mutex_);
    multi_ = own_;
}

// One look at everything. False when it is time to end.
bool CurlWorker::turn() {
    std::vector<std::shared_ptr<CurlTicket>> fresh;
    if (!takeSubmitted(fresh)) return false;
    for (auto& ticket : fresh) begin(std::move(ticket));
    dropGivenUp();
    int running = 0;
    curl_.multi_perform(own_, &running);
    endFinished();
    endLate();
    return true;
}

bool CurlWorker::takeSubmitted(std::vector<std::shared_ptr<CurlTicket>>& into) {
    const Lock lock(mutex_);
    if (stopped_) return false;
    into.swap(submitted_);
    return true;
}

void CurlWorker::begin(std::shared_ptr<CurlTicket> ticket) {
    if (ticket->isOver()) return;
    Flight flight{std::move(ticket), nullptr};
    if (auto error = start(flight))
        flight.ticket->tell(std::move(*error));
    else
        flights_.push_back(std::move(flight));
}

std::optional<PlatformError> CurlWorker::start(Flight& flight) {
    if (auto error = refusal(flight.ticket->request, options_)) return error;
    try {
        flights_.reserve(flights_.size() + 1);
        flight.transfer = std::make_unique<CurlTransfer>(curl_, std::move(flight.ticket->request), options_,
                                                         connections_, flight.ticket->sentAt);
    } catch (const std::bad_alloc&) {
        return libraryFailure();
    }
    CURL* easy = flight.transfer->handle();
    if (easy == nullptr || curl_.multi_add_handle(own_, easy) != CURLM_OK) return libraryFailure();
    return {};
}

void CurlWorker::dropGivenUp() {
    std::erase_if(flights_, [this](const Flight& flight) {
        if (!flight.ticket->isOver()) return false;
        curl_.multi_remove_handle(own_, flight.transfer->handle());
        return true;
    });
}

void CurlWorker::endFinished() {
    int left = 0;
    while (const CURLMsg* message = curl_.multi_info_read(own_, &left))
        if (message->msg == CURLMSG_DONE) end(message->easy_handle, message->data.result);
}

void CurlWorker::end(CURL* easy, CURLcode code) {
    const auto found = std::ranges::find_if(
        flights_, [easy](const Flight& flight) { return flight.transfer->handle() == easy; });
    if (found == flights_.end()) return;
    const auto flight = std::move(*found);
    flights_.erase(found);
    auto result = flight.transfer->result(code);
    curl_.multi_remove_handle(own_, easy);
    flight.ticket->tell(std::move(result));
}

void CurlWorker::endLate() {
    const auto now = std::chrono::steady_clock::now();
    std::vector<Flight> late;
    for (auto& flight : flights_) {
        flight.transfer->observe(now);
        if (now >= flight.transfer->deadline()) late.push_back(std::move(flight));
    }
    std::erase_if(flights_, [](const Flight& flight) { return !flight.transfer; });
    for (auto& flight : late) {
        curl_.multi_remove_handle(own_, flight.transfer->handle());
        auto error = flight.transfer->timedOut(now);
        flight.transfer.reset();  // the connection is closed before anybody hears of it
        flight.ticket->tell(std::move(error));
    }
}

void CurlWorker::wait() {
    auto until = std::chrono::steady_clock::now() + kLongestWait;
    auto longest = kLongestWait;
    for (const auto& flight : flights_) {
        until = std::min(until, flight.transfer->deadline());
        longest = std::min(longest, flight.transfer->period());
    }
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(until - std::chrono::steady_clock::now());
    const auto wait = std::clamp(left, std::chrono::milliseconds{0}, longest);
    curl_.multi_poll(own_, nullptr, 0, static_cast<int>(wait.count()), nullptr);
}

}  // namespace Velmor
