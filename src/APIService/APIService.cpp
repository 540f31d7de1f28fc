#include "APIService/APIService.hpp"

#include "Runtime/Contain.hpp"

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
    if (response.status >= 200 && response.status < 400) return;
    const auto [result, detail] = decodeResponse<Model::ErrorBody>(response.body);
    throw VelmorError(VelmorError::httpStatus{
        response.status, result ? result->errorCode.value_or(kNoErrorCode) : kNoErrorCode, detail});
}

}  // namespace

APIService::APIService(const std::shared_ptr<HttpTransport>& http) : http_(http) {}

const HttpResponse& APIService::checked(const HttpResult& result) {
    if (const auto* error = std::get_if<PlatformError>(&result)) throw *error;
    const auto& response = std::get<HttpResponse>(result);
    checkStatus(response);
    return response;
}

void APIService::send(HttpRequest request, const std::shared_ptr<Executor>& on, Receiver receiver) {
    const auto answer = std::make_shared<Answer>();
    std::uint64_t number = 0;
    {
        const Lock lock(mutex_);
        number = next_++;
        pending_.emplace(number, Pending{{}, std::move(receiver), answer});
    }
    try {
        const auto deliver = [self = weak_from_this(), number, answer] {
            if (!answer->arrived) return;
            if (const auto service = self.lock()) service->finish(number);
        };
        on->postAfter(kAnswerCheck, deliver);
        // The transport's thread takes no reference, so that it never is the one to end the service.
        const HttpTransport::Completion arrive = [on, answer, deliver](HttpResult result) {
            answer->result = std::move(result);
            answer->arrived = true;
            contain([&] { on->post(deliver); });  // else the timer delivers it
        };
        std::unique_ptr<HttpExchange> exchange;
        try {
            exchange = http_->send(std::move(request), arrive);
        } catch (...) {
            arrive(sendFailure());
        }
        const Lock lock(mutex_);
        const auto entry = pending_.find(number);
        if (entry != pending_.end()) entry->second.exchange = std::move(exchange);
    } catch (...) {
        take(number);  // the caller hears of it at once
        throw;
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
    if (auto done = take(number)) done->receiver(*done->answer->result);
}

}  // namespace Velmor
