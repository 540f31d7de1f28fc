// Small operations on UTF-8 texts.
#pragma once

#include <cstddef>
#include <initializer_list>
#include <string>
#include <string_view>

namespace Velmor {

/// The pieces of one text, for parameters only: it views what lives to the end of the caller's expression.
using Pieces = std::initializer_list<std::string_view>;

/// In one allocation, where `+` would take one for each piece.
std::string joined(Pieces pieces);

/// Of ASCII: a byte below a blank, or DEL. None may stand in a header or a URL.
bool isControl(char c);

/// Letters of ASCII alone have two cases.
bool equalIgnoringCase(std::string_view a, std::string_view b);

/// At most the first `count` characters (code points); never cuts one in two.
std::string firstCharacters(std::string_view text, std::size_t count);

/// Shortest forms only, no surrogates, nothing past U+10FFFF.
bool isUtf8(std::string_view text);

/// The text with U+FFFD in place of each piece that is not UTF-8: one for a beginning of a character that
/// breaks off, and one for each byte that begins none.
std::string repairedUtf8(std::string_view text);

}  // namespace Velmor
