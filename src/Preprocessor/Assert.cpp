#include "Preprocessor/Assert.hpp"

#include <cstdio>
#include <cstdlib>

namespace Velmor::Detail {

void fatalError(std::string_view source, std::string_view text) noexcept {
    const std::size_t slash = source.find_last_of('/');
    if (slash != std::string_view::npos) source.remove_prefix(slash + 1);
    std::fprintf(stderr, "%.*s: Fatal error: %.*s\n", static_cast<int>(source.size()), source.data(),
                 static_cast<int>(text.size()), text.data());
    std::fflush(stderr);
    std::abort();
}

}  // namespace Velmor::Detail
