// The stages of a night as a picture.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include <Velmor/Model.hpp>

namespace VelmorApp {

/// One stage code for each epoch: 0 awake, 1 light, 2 deep, 3 REM; any other is not known and stays empty.
struct Hypnogram {
    std::span<const std::int64_t> stages;
    Velmor::Model::Date start;
    std::chrono::microseconds epoch{};
};

/// Four rows and a line of hours, at most `width` columns wide; a column shows the stage that fills most of
/// it.
std::string hypnogramText(const Hypnogram& night, std::size_t width, bool colour);

std::string hypnogramSvg(const Hypnogram& night, const std::string& title);

}  // namespace VelmorApp
