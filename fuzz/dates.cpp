// Dates of the wire: what was written is read as the same time, what was read is written as the same time.
#include "APIService/Iso8601.hpp"
#include "Input.hpp"

namespace Velmor::Fuzz {

using namespace std::chrono;

void writeAndRead(WallTime time) {
    const auto text = Iso8601::format(time);
    auto plain = Iso8601::formatPlain(time);
    require(plain.size() == 19 && plain.replace(10, 1, "T") + "Z" == text, "two texts of one time",
            text + plain);
    const auto read = Iso8601::parse(text);
    const bool atTheEdge = time < WallTime::min() + 2s || time > WallTime::max() - 2s;
    require(read ? *read == floor<seconds>(time) : atTheEdge, "another time than was written", text);
}

void readAndWrite(const std::string& text) {
    const auto day = Iso8601::parseDay(text.substr(0, 10));
    if (day) require(Iso8601::formatDay(*day) == text.substr(0, 10), "another day than was read", text);
    const auto time = Iso8601::parse(text);
    if (!time) return;
    const auto number = [&](std::size_t at) { return std::stoi(text.substr(at, 2)); };
    const auto clock = hours(number(11)) + minutes(number(14)) + seconds(number(17));
    require(day && clock < 24h + 1s, "a time on no day", text);
    const auto apart = floor<seconds>(*time).time_since_epoch() - day->time_since_epoch() - clock;
    require(text.ends_with('Z') ? apart == 0s : apart < 24h && apart > -24h, "not the text's time", text);
    writeAndRead(*time);
}

void run(Input input) {
    if (input.choice(2) == 0) return readAndWrite(input.text());
    writeAndRead(WallTime{nanoseconds(input.number(8))});
}

}  // namespace Velmor::Fuzz
