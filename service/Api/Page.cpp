#include "service/Api/PageFiles.hpp"
#include "service/Api/Routes.hpp"

namespace VelmorService {

namespace {

/// The page loads nothing from anywhere else and runs no script that is not its own file.
constexpr const char* kPolicy =
    "default-src 'none'; script-src 'self'; style-src 'self'; connect-src 'self'; img-src 'self' data:; "
    "base-uri 'none'; form-action 'none'; frame-ancestors 'none'";

void addFile(Router& router, std::string_view path, const char* type, std::string_view content) {
    router.add("GET", path, [type, content](const Request&) {
        Response response;
        response.contentType = type;
        response.body = content;
        response.headers = {{"Content-Security-Policy", kPolicy}, {"Referrer-Policy", "no-referrer"}};
        return response;
    });
}

}  // namespace

void addPageRoutes(Router& router) {
    addFile(router, "", "text/html; charset=utf-8", PageFiles::kIndex);
    addFile(router, "style.css", "text/css; charset=utf-8", PageFiles::kStyle);
    addFile(router, "draw.js", "text/javascript; charset=utf-8", PageFiles::kDrawing);
    addFile(router, "page.js", "text/javascript; charset=utf-8", PageFiles::kScript);
}

}  // namespace VelmorService
