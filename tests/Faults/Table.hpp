// What the fault tables share: names, and the words in which an outcome is told.
#pragma once

#include <exception>
#include <string>
#include <vector>

#include <Velmor/Error.hpp>

namespace Velmor::Faults {

/// Of every row in the order of its table: the simulator's name of the fault where it has one, a slash, the
/// case.
using Names = std::vector<std::string>;
Names networkNames();
Names tlsNames();
Names storageNames();
Names nightNames();

template <class Rows>
Names namesOf(const Rows& rows) {
    Names names;
    for (const auto& row : rows) names.emplace_back(row.name);
    return names;
}

std::string text(PlatformError::Kind kind);
/// "cannotConnect", "timedOut total", "decoding result.user_id", "httpStatus(503, busy)"
std::string text(const VelmorError& error);

}  // namespace Velmor::Faults
