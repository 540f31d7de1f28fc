#include "Runtime/Text.hpp"

#include <algorithm>

namespace Velmor {
namespace {

/// What a text begins with: a character, or the longest beginning of one that breaks off.
struct Piece {
    std::size_t length;
    bool valid;
};

std::size_t lengthByLead(unsigned lead) {
    if (lead < 0x80) return 1;
    if (lead < 0xC2) return 0;
    if (lead < 0xE0) return 2;
    if (lead < 0xF0) return 3;
    return lead < 0xF5 ? 4 : 0;
}

Piece firstPiece(std::string_view text) {
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned lead = byte(0);
    const auto length = lengthByLead(lead);
    if (length == 0) return {1, false};
    // The second byte's range leaves out longer forms than needed, surrogates and what lies past U+10FFFF.
    unsigned low = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
    unsigned high = lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
    for (std::size_t i = 1; i < length; ++i) {
        if (i == text.size() || byte(i) < low || byte(i) > high) return {i, false};
        low = 0x80;
        high = 0xBF;
    }
    return {length, true};
}

}  // namespace

bool isControl(char c) {
    const auto byte = static_cast<unsigned char>(c);
    return byte < 0x20 || byte == 0x7f;
}

std::string joined(Pieces pieces) {
    std::size_t size = 0;
    for (const auto piece : pieces) size += piece.size();
    std::string text;
    text.reserve(size);
    for (const auto piece : pieces) text.append(piece);
    return text;
}

bool equalIgnoringCase(std::string_view a, std::string_view b) {
    const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; };
    return std::ranges::equal(a, b, {}, lower, lower);
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
    while (!text.empty()) {
        const auto piece = firstPiece(text);
        if (!piece.valid) return false;
        text.remove_prefix(piece.length);
    }
    return true;
}

std::string repairedUtf8(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    while (!text.empty()) {
        const auto piece = firstPiece(text);
        out.append(piece.valid ? text.substr(0, piece.length) : "\xEF\xBF\xBD");
        text.remove_prefix(piece.length);
    }
    return out;
}

}  // namespace Velmor
