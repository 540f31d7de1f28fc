/// The errors of the library. Every failure that reaches the application is a `VelmorError`; a failure of the
/// system below (network, file, audio) travels inside its case `unknown` as a `PlatformError`, an answer that
/// cannot be understood as a `DecodingError`.
#pragma once

#include <cstdint>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <variant>

#include <Velmor/Export.hpp>

namespace Velmor {

/// A failure of the system underneath, as one of the platform's seams reports it. A value: copy it freely.
class VELMOR_API PlatformError : public std::exception {
  public:
    enum class Kind {
        cannotConnect,        ///< no connection, name not found, connection lost
        timedOut,             ///< one of the request's time limits passed
        cancelled,            ///< the request was given up by its owner
        insecure,             ///< certificate refused, or clear text where it is not allowed
        badRequest,           ///< cannot be sent as given (control characters, malformed URL)
        badResponse,          ///< not HTTP, or over the size limits
        notFound,             ///< no such file
        accessDenied,         ///< file or device not accessible to this process
        noSpace,              ///< disk or quota full
        io,                   ///< any other file failure
        audioUnavailable,     ///< no sound server, no input, or it failed
        backgroundActivation  ///< the audio session cannot be activated while in the background
    };

    /// `code` is the system's own number (errno, or the transport's), 0 where there is none.
    PlatformError(Kind kind, std::string_view message, int code = 0);
    ~PlatformError() override;

    Kind kind() const noexcept { return kind_; }
    int code() const noexcept { return code_; }
    const char* what() const noexcept override;

  private:
    Kind kind_;
    int code_;
    std::shared_ptr<const std::string> message_;  // shared, so that copying an exception never throws
};

/// An answer of the service that does not have the promised form. `path` names the place in the JSON text,
/// for instance "result.stat.sleep_time"; it is empty where the text is no JSON at all.
class VELMOR_API DecodingError : public std::exception {
  public:
    DecodingError(std::string_view path, std::string_view reason);
    ~DecodingError() override;

    const std::string& path() const noexcept { return text_->path; }
    const char* what() const noexcept override;

  private:
    struct Text {
        std::string path, message;
    };
    std::shared_ptr<const Text> text_;
};

/// The one error type that the application sees: a tagged variant with ten cases that is also an exception.
class VELMOR_API VelmorError : public std::exception {
  public:
    /// The session could not be created.
    struct startTrackingNetworkFail {
        std::int64_t code;  ///< the HTTP status that refused it, or -9999 when there was no usable answer
        std::optional<std::string> message;  ///< the service's own words
        /// Why there was no usable answer (offline, timed out, an answer that cannot be understood): a
        /// PlatformError or a DecodingError, null when the service refused. Not part of the description.
        std::exception_ptr cause = nullptr;
    };
    /// The session could not be closed; the members are those of `startTrackingNetworkFail`.
    struct stopTrackingNetworkFail {
        std::int64_t code;
        std::optional<std::string> message;
        std::exception_ptr cause = nullptr;
    };
    struct httpStatus {
        std::int64_t code;                      ///< the HTTP status
        std::optional<std::int64_t> errorCode;  ///< the service's own number; not part of the description
        std::optional<std::string> message;
    };
    struct responseResult {
        std::string endpoint;  ///< the request path whose answer lacks its result
    };
    struct unknown {
        std::exception_ptr systemError;  ///< never null; usually a PlatformError or a DecodingError
    };
    struct shouldResume {};
    struct over24hours {};
    struct audioInitializationFailed {};
    struct unsupportedInDeveloperMode {};
    struct cannotActivateInBackground {};

    using Case = std::variant<startTrackingNetworkFail, stopTrackingNetworkFail, httpStatus, responseResult,
                              unknown, shouldResume, over24hours, audioInitializationFailed,
                              unsupportedInDeveloperMode, cannotActivateInBackground>;

    VelmorError(Case value);  // NOLINT(google-explicit-constructor): a case is an error
    /// From one case, so that `throw VelmorError(VelmorError::shouldResume{})` and `return unknown{...}`
    /// work.
    template <class T>
    requires(!std::is_same_v<std::remove_cvref_t<T>, Case> &&
             !std::is_same_v<std::remove_cvref_t<T>, VelmorError> && std::is_constructible_v<Case, T>)
        // clang-format off
        VelmorError(T&& value)  // NOLINT(google-explicit-constructor, bugprone-forwarding-reference-overload)
        // clang-format on
        : VelmorError(Case(std::forward<T>(value))) {}
    ~VelmorError() override;

    /// The error that a caught exception stands for: a VelmorError as it is, anything else as `unknown`.
    static VelmorError from(const std::exception_ptr& error);

    const Case& value() const noexcept { return text_->value; }
    template <class T>
    const T* as() const noexcept {
        return std::get_if<T>(&value());
    }
    template <class T>
    bool is() const noexcept {
        return as<T>() != nullptr;
    }

    /// The text of log lines, for instance "httpStatus(401, )".
    const std::string& description() const noexcept { return text_->description; }
    const char* what() const noexcept override;

  private:
    struct Text {
        Case value;
        std::string description;
    };
    std::shared_ptr<const Text> text_;
};

}  // namespace Velmor
