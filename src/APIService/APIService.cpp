#include "APIService/APIService.hpp"

#include <algorithm>

namespace Velmor {
namespace {

// What a transport threw instead of telling it; one that cannot start its thread, say.
PlatformError sendFailure() {
    try {
        throw;
    } catch (const PlatformError& error) {
        return error;
    } catch (const std::exception& error) {
        return {PlatformError::Kind::cannotConnect, error.what()};
    } catch (...) {
        return {PlatformError::Kind::cannotConnect, "the transport failed"};
    }
}

void checkStatus(const HttpResponse& response) {
    if (static_cast<unsigned>(response.status) - 200U < 200U) return;
    const auto [result, detail] = decodeResponse<Model::ErrorBody>(response.body);
    throw VelmorError(VelmorError::httpStatus{
        response.status, result ? result->errorCode.value_or(kNoErrorCode) : kNoErrorCode, detail});
}

std::shared_ptr<const void> unwrap(const HttpResponse& response, RecordDecoder decoder) {
    if (response.status == 204) return {};
    checkStatus(response);
    return decoder(response.body);
}

APIOutcome outcomeOf(const HttpResult& result, RecordDecoder decoder) {
    if (const auto* error = std::get_if<PlatformError>(&result)) return {std::make_exception_ptr(*error), {}};
    try {
        return {{}, unwrap(std::get<HttpResponse>(result), decoder)};
    } catch (...) {
        return {std::current_exception(), {}};
    }
}

}  // namespace

APIService::APIService(const std::shared_ptr<HttpTransport>& http) : http_(http) {}

void APIService::request(HttpRequest&& request, const std::shared_ptr<Executor>& on, RecordDecoder decoder,
                         std::function<void(const APIOutcome&)> completion) {
    send(std::move(request), on, [decoder, completion = std::move(completion)](const HttpResult& result) {
        completion(outcomeOf(result, decoder));
    });
}

void APIService::send(HttpRequest request, const std::shared_ptr<Executor>& on, Completion completion) {
    deliverLate();
    const auto answer = std::make_shared<Answer>();
    std::uint64_t number = 0;
    {
        const Lock lock(mutex_);
        number = next_++;
        pending_.emplace(number, Pending{{}, std::move(completion), answer, on});
    }
    try {
        // The transport's thread takes no reference, so that it never is the one to end the service.
        const Completion deliver = [self = weak_from_this(), on, number, answer](HttpResult result) {
            answer->result = std::move(result);
            if (!post(self, *on, number)) answer->late.store(true, std::memory_order_release);
        };
        std::unique_ptr<HttpExchange> exchange;
        try {
            exchange = http_->send(std::move(request), deliver);
        } catch (...) {
            deliver(sendFailure());
        }
        const Lock lock(mutex_);
        const auto entry = pending_.find(number);
        if (entry != pending_.end()) entry->second.exchange = std::move(exchange);
    } catch (...) {
        take(number);  // the caller hears of it at once
        throw;
    }
}

// False when there is no memory for a task.
bool APIService::post(const std::weak_ptr<APIService>& self, Executor& on, std::uint64_t number) {
    try {
        on.post([self, number] {
            if (const auto service = self.lock()) service->finish(number);
        });
        return true;
    } catch (...) {
        return false;
    }
}

void APIService::deliverLate() {
    while (true) {
        std::shared_ptr<Answer> answer;
        std::shared_ptr<Executor> on;
        std::uint64_t number = 0;
        {
            const Lock lock(mutex_);
            const auto late = std::ranges::find_if(
                pending_, [](const auto& entry) { return entry.second.answer->late.exchange(false); });
            if (late == pending_.end()) return;
            number = late->first;
            answer = late->second.answer;
            on = late->second.on;
        }
        if (post(weak_from_this(), *on, number)) continue;
        answer->late = true;
        return;
    }
}

std::optional<APIService::Pending> APIService::take(std::uint64_t number) {
    const Lock lock(mutex_);
    const auto entry = pending_.find(number);
    if (entry == pending_.end()) return {};
    std::optional<Pending> taken(std::move(entry->second));
    pending_.erase(entry);
    return taken;
}

void APIService::finish(std::uint64_t number) {
    if (auto done = take(number)) done->completion(std::move(*done->answer->result));
}

}  // namespace Velmor
