// The digits of dates in the user's language.
#pragma once

#include <string>
#include <string_view>

namespace Velmor {

/// `text` with its digits 0 to 9 as a date of `language` has them, in UTF-8. The language is named as "fa" or
/// "ar_EG"; one that is not known has 0 to 9.
std::string withDigitsOf(std::string_view language, std::string_view text);

}  // namespace Velmor
