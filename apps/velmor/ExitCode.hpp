#pragma once

namespace VelmorApp {

enum class ExitCode : int {
    done = 0,
    failed = 1,
    usage = 2,
    notFound = 3,
    network = 4,
    audio = 5,
    refused = 6,  ///< by the service
    interrupted = 130
};

}  // namespace VelmorApp
