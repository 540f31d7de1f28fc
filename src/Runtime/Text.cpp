#include "Runtime/Text.hpp"

namespace Velmor {

std::string joined(Pieces pieces) {
    std::size_t size = 0;
    for (const auto piece : pieces) size += piece.size();
    std::string text;
    text.reserve(size);
    for (const auto piece : pieces) text.append(piece);
    return text;
}

std::string firstCharacters(std::string_view text, std::size_t count) {
    std::size_t end = 0;
    while (end < text.size()) {
        const bool startsCharacter = (static_cast<unsigned char>(text[end]) & 0xC0U) != 0x80U;
        if (startsCharacter && count-- == 0) break;
        ++end;
    }
    return std::string(text.substr(0, end));
}

bool isUtf8(std::string_view text) {
    const auto at = [&](std::size_t i) { return i < text.size() ? static_cast<unsigned char>(text[i]) : 0U; };
    for (std::size_t i = 0; i < text.size();) {
        const unsigned lead = at(i);
        const unsigned next = at(i + 1);
        const std::size_t length = lead < 0x80   ? 1
                                   : lead < 0xC2 ? 0
                                   : lead < 0xE0 ? 2
                                   : lead < 0xF0 ? 3
                                   : lead < 0xF5 ? 4
                                                 : 0;
        if (length == 0) return false;
        for (std::size_t k = 1; k < length; ++k)
            if ((at(i + k) & 0xC0U) != 0x80U) return false;
        if ((lead == 0xE0 && next < 0xA0) || (lead == 0xED && next > 0x9F)) return false;
        if ((lead == 0xF0 && next < 0x90) || (lead == 0xF4 && next > 0x8F)) return false;
        i += length;
    }
    return true;
}

}  // namespace Velmor
