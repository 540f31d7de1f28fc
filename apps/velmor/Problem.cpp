#include "Problem.hpp"

#include <cstdint>

namespace VelmorApp {
namespace {

using Velmor::PlatformError;
using Velmor::VelmorError;

// What the library reports when a request ended without an answer.
constexpr std::int64_t kNoAnswer = -9999;

struct Finding {
    ExitCode code = ExitCode::failed;
    std::string advice;
};

std::string startService(const std::string& service) {
    return "Is the service running at " + service +
           "? Without --base-url a local one is started; `velmor serve` keeps one running.";
}

Finding ofPlatform(PlatformError::Kind kind, const std::string& service) {
    using Kind = PlatformError::Kind;
    switch (kind) {
        case Kind::cannotConnect:
            return {ExitCode::network, startService(service)};
        case Kind::timedOut:
            return {ExitCode::network, "The service took too long. Check the network and try again."};
        case Kind::cancelled:
            return {ExitCode::network, ""};
        case Kind::insecure:
            return {ExitCode::network,
                    "The connection cannot be trusted. Give the service's certificate with --ca-file, and "
                    "use https."};
        case Kind::badRequest:
            return {ExitCode::failed, "An id, a key or a URL holds what cannot be sent."};
        case Kind::badResponse:
            return {ExitCode::network,
                    "What answers at " + service + " is not the service. Check --base-url."};
        case Kind::notFound:
        case Kind::accessDenied:
        case Kind::io:
            return {ExitCode::failed, "Check --data-dir and the temporary directory."};
        case Kind::noSpace:
            return {ExitCode::failed, "Make room on the disk of the temporary directory."};
        case Kind::audioUnavailable:
        case Kind::backgroundActivation:
            return {
                ExitCode::audio,
                "No microphone can be used. Is a sound server running? --input and --synthetic need none."};
    }
    return {};
}

Finding ofStatus(std::int64_t status, const std::string& service) {
    if (status == kNoAnswer) return {ExitCode::network, startService(service)};
    if (status == 401) return {ExitCode::refused, "The service does not accept the key. Check --api-key."};
    if (status == 403)
        return {ExitCode::refused, "The service does not allow this. Check --api-key and --user-id."};
    if (status == 404) return {ExitCode::notFound, "The service does not know it."};
    if (status >= 500) return {ExitCode::refused, "The service is in trouble. Try again later."};
    return {ExitCode::refused, ""};
}

Finding ofSystem(const std::exception_ptr& error, const std::string& service) {
    try {
        std::rethrow_exception(error);
    } catch (const PlatformError& platform) {
        return ofPlatform(platform.kind(), service);
    } catch (const VelmorError& inner) {
        const Problem problem = problemOf(inner, service);
        return {problem.code, problem.advice};
    } catch (const Velmor::DecodingError&) {
        return {ExitCode::failed, "What answers at " + service + " does not speak as the service does."};
    } catch (...) {
        return {};
    }
}

Finding find(const VelmorError& error, const std::string& service) {
    if (const auto* e = error.as<VelmorError::httpStatus>()) return ofStatus(e->code, service);
    if (const auto* e = error.as<VelmorError::startTrackingNetworkFail>()) return ofStatus(e->code, service);
    if (const auto* e = error.as<VelmorError::stopTrackingNetworkFail>()) return ofStatus(e->code, service);
    if (const auto* e = error.as<VelmorError::unknown>()) return ofSystem(e->systemError, service);
    if (error.is<VelmorError::unsupportedInDeveloperMode>())
        return {ExitCode::refused,
                "The mock of the service answers reports only. Leave --developer-mode out."};
    if (error.is<VelmorError::audioInitializationFailed>() ||
        error.is<VelmorError::cannotActivateInBackground>() || error.is<VelmorError::shouldResume>())
        return {ExitCode::audio,
                "The microphone cannot be used. `velmor doctor` looks into it; --input and --synthetic need "
                "none."};
    return {};
}

}  // namespace

Problem problemOf(const VelmorError& error, const std::string& service) {
    Finding finding = find(error, service);
    return {finding.code, error.description(), std::move(finding.advice)};
}

}  // namespace VelmorApp
