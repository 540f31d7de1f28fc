#include "service/LocalService.hpp"

#include "service/Api/Routes.hpp"
#include "service/Http/HttpServer.hpp"
#include "service/Http/Router.hpp"
#include "service/Store/Store.hpp"

#include <string_view>
#include <utility>

namespace VelmorService {

namespace {

/// A web page of another site can reach this service through a name of its own that resolves to loopback. Its
/// requests carry that name.
void checkHost(const Request& request) {
    const std::string* host = request.raw.header("Host");
    if (host == nullptr) {
        return;
    }
    const std::string name = host->substr(0, host->rfind(':'));
    if (name != "127.0.0.1" && !equalsIgnoringCase(name, "localhost")) {
        throw ApiError(403, ErrorCode::kForeignHost, "this service answers on loopback names only");
    }
}

bool needsKey(const Request& request) {
    const auto& first = request.path.front();
    return first == "ai" || first == "data" || first == "datadog" || first == "mock";
}

}  // namespace

class LocalService::Impl {
  public:
    explicit Impl(const LocalServiceOptions& options)
        : apiKey_(options.apiKey),
          onRequest_(options.onRequest),
          store_(options.directory),
          router_(routes(store_)),
          server_(options.port, [this](RawRequest raw) { return serve(std::move(raw)); }) {}

    HttpServer& server() { return server_; }

  private:
    static Router routes(Store& store) {
        Router router;
        addUserRoutes(router, store);
        addSessionRoutes(router, store);
        addReportRoutes(router, store);
        addLogRoutes(router, store);
        addMockRoutes(router);
        addInspectRoutes(router, store);
        addPageRoutes(router);
        return router;
    }

    Response serve(RawRequest raw) {
        ServedRequest served{raw.method, std::string(raw.path())};
        Response response = answer(std::move(raw));
        served.status = response.status;
        if (onRequest_) {
            onRequest_(served);
        }
        return response;
    }

    Response answer(RawRequest raw) {
        try {
            if (raw.bodyTooLong) {
                throw ApiError(413, ErrorCode::kTooLarge, "the body is longer than 4 MiB");
            }
            const Request request = decodeTarget(std::move(raw));
            checkHost(request);
            if (needsKey(request)) {
                checkKey(request);
            }
            return router_.answer(request);
        } catch (const ApiError& error) {
            return errorResponse(error.status(), error.code(), error.what());
        } catch (const std::exception& error) {
            return errorResponse(500, ErrorCode::kInternal, error.what());
        }
    }

    void checkKey(const Request& request) const {
        const std::string* key = request.raw.header("x-api-key");
        if (key == nullptr || key->empty()) {
            throw ApiError(401, ErrorCode::kKeyMissing, "the header x-api-key is missing");
        }
        if (!apiKey_.empty() && *key != apiKey_) {
            throw ApiError(401, ErrorCode::kKeyWrong, "this service was started with another API key");
        }
    }

    const std::string apiKey_;
    const std::function<void(const ServedRequest&)> onRequest_;
    Store store_;
    const Router router_;
    HttpServer server_;  ///< last: its thread uses everything above
};

LocalService::LocalService(const LocalServiceOptions& options) : impl_(std::make_unique<Impl>(options)) {}

LocalService::~LocalService() = default;

std::string LocalService::url() const {
    return impl_->server().url();
}

std::uint16_t LocalService::port() const {
    return impl_->server().port();
}

void LocalService::stop() {
    impl_->server().stop();
}

}  // namespace VelmorService
