#include "Recorder/LocalDigits.hpp"

namespace Velmor {
namespace {

struct Digits {
    std::string_view languages;  // each between blanks
    char32_t zero;               // the others follow it
};

// As the common locale data has them for each language's own country.
constexpr Digits kDigits[] = {
    {" ar ckb sd ", U'\u0660'}, {" fa ks ps ur_IN ", U'\u06f0'},
    {" mr ne sa ", U'\u0966'},  {" as bn mni ", U'\u09e6'},
    {" dz ", U'\u0f20'},        {" my ", U'\u1040'},
    {" sat ", U'\u1c50'},
};
// Arabic is written with 0 to 9 there.
constexpr std::string_view kWesternArabic = " ar_AE ar_DZ ar_EH ar_LY ar_MA ar_TN ";

bool isListed(std::string_view list, std::string_view word) {
    for (auto at = list.find(word); at != list.npos; at = list.find(word, at + 1))
        if (list[at - 1] == ' ' && list[at + word.size()] == ' ') return true;
    return false;
}

char32_t zeroOf(std::string_view language) {
    const auto general = language.substr(0, language.find_first_of("_-"));
    if (general.empty() || isListed(kWesternArabic, language)) return U'0';
    for (const auto& digits : kDigits)
        if (isListed(digits.languages, general) || isListed(digits.languages, language)) return digits.zero;
    return U'0';
}

// Of a character between U+0080 and U+FFFF.
void append(std::string& text, char32_t character) {
    const auto tail = [&](unsigned shift) {
        text += static_cast<char>(0x80U | (character >> shift & 0x3fU));
    };
    if (character >= 0x800) {
        text += static_cast<char>(0xe0U | character >> 12U);
        tail(6);
    } else {
        text += static_cast<char>(0xc0U | character >> 6U);
    }
    tail(0);
}

}  // namespace

std::string withDigitsOf(std::string_view language, std::string_view text) {
    const auto zero = zeroOf(language);
    if (zero == U'0') return std::string(text);
    std::string out;
    for (const char c : text) {
        if (c >= '0' && c <= '9')
            append(out, zero + static_cast<char32_t>(c - '0'));
        else
            out += c;
    }
    return out;
}

}  // namespace Velmor
