#include "Runtime/Text.hpp"

#include <utility>

#include <Velmor/Error.hpp>

namespace Velmor {
namespace {

template <class... F>
struct Overloaded : F... {
    using F::operator()...;
};
template <class... F>
Overloaded(F...) -> Overloaded<F...>;  // clang 14 does not deduce it for aggregates

std::string networkText(const char* name, std::int64_t code, const std::optional<std::string>& message) {
    return joined({name, "(", std::to_string(code), ", ", message.value_or(""), ")"});
}

std::string systemText(const std::exception_ptr& error) {
    if (!error) return "";
    try {
        std::rethrow_exception(error);
    } catch (const std::exception& e) {
        return e.what();
    } catch (...) {
        return "not a std::exception";
    }
}

std::string describe(const VelmorError::Case& value) {
    return std::visit(
        Overloaded{
            [](const VelmorError::startTrackingNetworkFail& e) {
                return networkText("startTrackingNetworkFail", e.code, e.message);
            },
            [](const VelmorError::stopTrackingNetworkFail& e) {
                return networkText("stopTrackingNetworkFail", e.code, e.message);
            },
            [](const VelmorError::httpStatus& e) { return networkText("httpStatus", e.code, e.message); },
            [](const VelmorError::responseResult& e) {
                return joined({"responseResult(", e.endpoint, ")"});
            },
            [](const VelmorError::unknown& e) {
                return joined({"unknown(", systemText(e.systemError), ")"});
            },
            [](VelmorError::shouldResume) { return std::string("shouldResume"); },
            [](VelmorError::over24hours) { return std::string("over24hours"); },
            [](VelmorError::audioInitializationFailed) { return std::string("audioInitializationFailed"); },
            [](VelmorError::unsupportedInDeveloperMode) { return std::string("unsupportedInDeveloperMode"); },
            [](VelmorError::cannotActivateInBackground) {
                return std::string("cannotActivateInBackground");
            }},
        value);
}

}  // namespace

PlatformError::PlatformError(Kind kind, std::string_view message, int code)
    : kind_(kind), code_(code), message_(std::make_shared<const std::string>(message)) {}

PlatformError::~PlatformError() = default;

const char* PlatformError::what() const noexcept {
    return message_->c_str();
}

DecodingError::DecodingError(std::string_view path, std::string_view reason)
    : text_(std::make_shared<const Text>(
          Text{std::string(path),
               joined({path.empty() ? "cannot decode" : "cannot decode ", path, ": ", reason})})) {}

DecodingError::~DecodingError() = default;

const char* DecodingError::what() const noexcept {
    return text_->message.c_str();
}

VelmorError::VelmorError(Case value) {
    std::string description = describe(value);
    text_ = std::make_shared<const Text>(Text{std::move(value), std::move(description)});
}

VelmorError::~VelmorError() = default;

VelmorError VelmorError::from(const std::exception_ptr& error) {
    try {
        std::rethrow_exception(error);
    } catch (const VelmorError& e) {
        return e;
    } catch (...) {
        return unknown{error};
    }
}

const char* VelmorError::what() const noexcept {
    return text_->description.c_str();
}

}  // namespace Velmor
