// Dates of the wire: what was written is read as the same time, what was read is written as the same time.
#include "APIService/Iso8601.hpp"
#include "Input.hpp"

namespace Velmor::Fuzz {

using namespace std::chrono;

// An offset leads out of the years that the form can write.
bool inFourDigits(Model::Date time) {
    return time >= sys_days(year(0) / 1 / 1) && time < sys_days(year(10'000) / 1 / 1);
}

void writeAndRead(Model::Date time) {
    const auto text = Iso8601::format(time);
    auto plain = Iso8601::formatPlain(floor<seconds>(time));
    require(plain.size() == 19 && plain.replace(10, 1, "T") + "Z" == text, "two texts of one time",
            text + plain);
    const auto read = Iso8601::parse(text);
    require(read && *read == floor<seconds>(time), "another time than was written", text);
}

void readAndWrite(std::string text) {
    const auto time = Iso8601::parse(text);
    if (text.size() > 14 && text[8] == 'T')  // basic; to extended
        for (const auto& [at, mark] : {std::pair{std::size_t{4}, "-"}, {7U, "-"}, {13U, ":"}, {16U, ":"}})
            text.insert(at, mark);
    const auto day = Iso8601::parseDay(text.substr(0, 10));
    if (day) require(Iso8601::formatDay(*day) == text.substr(0, 10), "another day than was read", text);
    if (!time) return;
    const auto number = [&](std::size_t at) { return std::stoi(text.substr(at, 2)); };
    const auto clock = hours(number(11)) + minutes(number(14)) + seconds(number(17));
    require(day && clock < 24h + 1s, "a time on no day", text);
    const auto apart = floor<seconds>(*time).time_since_epoch() - day->time_since_epoch() - clock;
    require(text.ends_with('Z') ? apart == 0s : apart < 24h && apart > -24h, "not the text's time", text);
    if (inFourDigits(*time)) writeAndRead(*time);
}

void run(Input input) {
    if (input.choice(2) == 0) return readAndWrite(input.text());
    const Model::Date time{microseconds(input.number(8))};
    if (inFourDigits(time)) writeAndRead(time);
}

}  // namespace Velmor::Fuzz
