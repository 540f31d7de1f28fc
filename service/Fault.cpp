#include "service/Fault.hpp"

#include "service/Http/Connection.hpp"

#include <algorithm>
#include <string_view>
#include <utility>

namespace VelmorService {

namespace {

constexpr std::chrono::milliseconds kPatience{10'000};

void drip(Connection& connection, const Fault& fault, std::string_view answer) {
    for (const char& byte : answer) {
        if (connection.write({&byte, 1}, kPatience) != Connection::Result::Done ||
            connection.pause(fault.time)) {
            return;
        }
    }
    connection.finish();
}

std::string withLongerLength(std::string answer, std::size_t more) {
    constexpr std::string_view kName = "Content-Length: ";
    const auto at = answer.find(kName);
    if (at != std::string::npos) {
        const auto digits = at + kName.size();
        const auto end = answer.find("\r\n", digits);
        answer.replace(digits, end - digits, std::to_string(std::stoull(answer.substr(digits)) + more));
    }
    return answer;
}

}  // namespace

bool fitsPattern(std::string_view pattern, std::string_view text) {
    std::size_t at = 0;
    std::size_t next = 0;
    std::size_t star = std::string_view::npos;
    std::size_t resume = 0;
    while (next < text.size()) {
        if (at < pattern.size() && pattern[at] == '*') {
            star = at++;
            resume = next;
        } else if (at < pattern.size() && pattern[at] == text[next]) {
            ++at;
            ++next;
        } else if (star != std::string_view::npos) {
            at = star + 1;
            next = ++resume;
        } else {
            return false;
        }
    }
    return pattern.find_first_not_of('*', at) == std::string_view::npos;
}

void FaultTable::add(Fault fault) {
    const std::lock_guard lock(mutex_);
    entries_.push_back({std::move(fault)});
}

void FaultTable::clear() {
    const std::lock_guard lock(mutex_);
    entries_.clear();
}

std::optional<Fault> FaultTable::next(const std::string& method, std::string_view path) {
    const std::lock_guard lock(mutex_);
    std::optional<Fault> due;
    for (auto& entry : entries_) {
        const Fault& fault = entry.fault;
        if ((!fault.method.empty() && fault.method != method) || !fitsPattern(fault.path, path)) {
            continue;
        }
        ++entry.seen;
        if (!due && (fault.nth == 0 || fault.nth == entry.seen)) {
            due = fault;
        }
    }
    return due;
}

void deliverFaulty(Connection& connection, const Fault& fault, const std::string& answer) {
    const std::string_view beginning =
        std::string_view(answer).substr(0, std::min(fault.bytes, answer.size()));
    switch (fault.kind) {
        case Fault::Kind::Delay:
            if (connection.pause(fault.time)) {
                return;
            }
            [[fallthrough]];
        case Fault::Kind::Answer:
            connection.write(answer, kPatience);
            connection.finish();
            return;
        case Fault::Kind::Stall:
            connection.write(beginning, kPatience);
            connection.holdUntilClientLeaves(true);
            return;
        case Fault::Kind::Drip:
            drip(connection, fault, answer);
            return;
        case Fault::Kind::Reset:
            connection.write(beginning, kPatience);
            connection.reset();
            return;
        case Fault::Kind::Garbage:
            connection.write(fault.body, kPatience);
            connection.finish();
            return;
        case Fault::Kind::WrongLength:
            connection.write(withLongerLength(answer, fault.bytes), kPatience);
            connection.finish();
            return;
    }
}

}  // namespace VelmorService
