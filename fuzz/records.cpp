// Answers of the service: a record, or a DecodingError that names a place in the text; and no more memory
// than the text is worth.
#include "APIService/APIService.hpp"
#include "Input.hpp"
#include "Log/LogUpload.hpp"
#include "Runtime/Text.hpp"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <sanitizer/allocator_interface.h>

namespace Velmor::Fuzz {

std::size_t largestBlock = 0;

template <class T>
void read(const std::string& body) {
    try {
        const auto again = decodeResponse<T>(body).result;
        const auto record = decodeResponse<T>(body).result;
        if constexpr (requires { record->description(); }) {
            if (record) require(again && *again == *record, "one text, two records");
            if (record) require(isUtf8(record->description()), "a description that is not UTF-8");
        }
    } catch (const DecodingError& error) {
        require(error.path().empty() || nlohmann::json::accept(body), "a place in what is no JSON", body);
    }
}

void run(Input input) {
    [[maybe_unused]] static const int hooked = __sanitizer_install_malloc_and_free_hooks(
        [](const volatile void*, std::size_t bytes) { largestBlock = std::max(largestBlock, bytes); },
        [](const volatile void*) {});
    constexpr void (*kForms[])(const std::string&) = {read<Model::User>,          read<Model::CreateSession>,
                                                      read<Model::Report>,        read<Model::ReportList>,
                                                      read<Model::AverageReport>, read<Model::UploadData>,
                                                      read<LogUpload::Response>};
    const auto form = kForms[input.choice(std::size(kForms))];
    const auto body = input.rest();
    largestBlock = 0;
    form(body);
    require(largestBlock < 65'536 + 128 * body.size(), "far more memory than the text");
}

}  // namespace Velmor::Fuzz
