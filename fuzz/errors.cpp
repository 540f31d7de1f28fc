// Refusals by status: which error a status and a body become, and what the queue makes of it.
#include "APIService/APIService.hpp"
#include "Input.hpp"
#include "SessionService/SessionCalls.hpp"
#include "tests/World.hpp"

#include <nlohmann/json.hpp>

namespace Velmor::Fuzz {

using Request = SessionsService::Request;

// Against another reading of the body.
void requireMeaning(const VelmorError::httpStatus& error, const std::string& body) {
    const auto json = nlohmann::json::parse(body);
    const auto result = json.value("result", nlohmann::json());
    const auto code = result.is_object() ? result.value("error_code", nlohmann::json()) : nlohmann::json();
    const auto expected = code.is_number() ? code.get<std::int64_t>() : kNoErrorCode;
    require(error.errorCode == expected, "another error code than the body's", body);
    const auto detail = json.value("detail", nlohmann::json());
    require(detail.is_string() ? error.message == detail.get<std::string>() : !error.message,
            "another message than the body's", body);
}

void requireState(const std::exception_ptr& failure, std::optional<std::int64_t> status) {
    static const Config config("key", "user", Url::parse("http://localhost/"));
    const auto failed = [&](Request request) {
        return std::get<SessionsService::State::error>(SessionCalls::stateOfFailure(request, failure).value);
    };
    const auto upload = failed({Request::mel{config, "s", {}, {}, 1}});
    require(upload.closedSessionId.has_value() == (status.value_or(0) == 403 || status.value_or(0) == 404),
            "a session is closed by 403 and 404");
    const auto analysis = failed({Request::analysis{config, "s"}});
    require(!analysis.closedSessionId, "an early analysis looks like a closed session");
}

void requireOutcome(std::int64_t status, const std::string& body,
                    const APIResult<Model::UploadData>& outcome) {
    const bool refusal = status < 200 || status > 399;
    if (!outcome.error) return require(!refusal, "a refusal taken for a success", body);
    const auto error = VelmorError::from(outcome.error);
    const auto* http = error.as<VelmorError::httpStatus>();
    require(status != 204, "204 has no body to be read");
    requireState(outcome.error, http ? std::optional(status) : std::nullopt);
    if (!http) return require(error.is<VelmorError::unknown>(), "another error", error.description());
    require(refusal && http->code == status, "not this refusal", error.description());
    requireMeaning(*http, body);
}

void run(Input input) {
    const auto status = std::atoll(input.text().c_str()) % 1'000;
    const auto body = input.rest();
    const World world;
    world.http->enqueueStatus(static_cast<int>(status), body);
    const auto api = std::make_shared<APIService>(world.http);
    api->request<Model::UploadData>({"GET", Url::parse("http://localhost/"), {}, {}}, world.executor,
                                    [&](const auto& outcome) { requireOutcome(status, body, outcome); });
    world.executor->runUntilIdle();
    require(world.http->inFlight() == 0, "not told");
}

}  // namespace Velmor::Fuzz
