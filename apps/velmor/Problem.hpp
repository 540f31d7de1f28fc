// What went wrong, for a person.
#pragma once

#include "ExitCode.hpp"

#include <string>

#include <Velmor/Error.hpp>

namespace VelmorApp {

struct Problem {
    ExitCode code = ExitCode::failed;
    std::string text;    ///< the error by name
    std::string advice;  ///< what to try; may be empty
};

/// `service` is the URL that was talked to.
Problem problemOf(const Velmor::VelmorError& error, const std::string& service);

}  // namespace VelmorApp
