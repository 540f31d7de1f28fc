#include "Kinds.hpp"

#include "Actions.hpp"
#include "Night.hpp"

#include <array>
#include <limits>

namespace Velmor::Nights {
namespace {

using namespace std::chrono_literals;
using std::chrono::milliseconds;
using Trouble = Service::Trouble;
using Operation = Testing::MemoryFiles::Operation;
using ErrorKind = PlatformError::Kind;

constexpr std::array kEveryCall{Call::create, Call::mel, Call::close, Call::analysis, Call::user, Call::log};

template <class T, std::size_t N>
const T& chosen(const std::array<T, N>& values, std::int64_t variant) {
    return values[static_cast<std::size_t>(variant) % N];
}

PlatformError audioError(std::int64_t variant) {
    static constexpr std::array kKinds{ErrorKind::backgroundActivation, ErrorKind::audioUnavailable,
                                       ErrorKind::io};
    return {chosen(kKinds, variant), "simulated"};
}

AudioFormat oddFormat(std::int64_t variant) {
    static constexpr std::array<AudioFormat, 8> kFormats{{{44'100.0, 1},
                                                          {8'000.0, 1},
                                                          {16'000.0, 1},
                                                          {96'000.0, 1},
                                                          {48'000.0, 2},
                                                          {48'000.0, 4},
                                                          {0.0, 0},
                                                          {std::numeric_limits<double>::quiet_NaN(), 1}}};
    return chosen(kFormats, variant);
}

void trouble(Night& night, Trouble kind, std::int64_t length, std::int64_t variant, std::vector<Call> calls) {
    night.service->add({night.clock->bootNow() + milliseconds(length), std::move(calls), kind, variant});
}

// One call, or all of them.
std::vector<Call> someCalls(std::int64_t variant) {
    if (variant % 2 == 0) return {};
    return {chosen(kEveryCall, variant / 2)};
}

void permission(Night& night, std::int64_t length, std::int64_t variant) {
    static const std::array<std::vector<bool>, 6> kAnswers{
        {{true}, {false}, {true, true}, {true, false}, {false, true}, {}}};
    const bool asked = variant % 3 > 0;
    night.microphone->setPermission(asked ? RecordPermission::undetermined : RecordPermission::denied);
    night.microphone->setPermissionAnswers(chosen(kAnswers, variant / 3));
    night.later(milliseconds(length),
                [&night] { night.microphone->setPermission(RecordPermission::granted); });
}

// The engine stops, comes back and fails on the way.
void failing(Night& night, void (Testing::VirtualMicrophone::*fail)(std::optional<PlatformError>),
             std::int64_t length, std::int64_t variant) {
    ((*night.microphone).*fail)(audioError(variant));
    if (variant % 2 == 0)
        night.microphone->beginInterruption();
    else
        night.microphone->resetMediaServices();
    night.later(milliseconds(length / 2), [&night] { night.microphone->endInterruption(); });
    night.later(milliseconds(length), [&night, fail] {
        ((*night.microphone).*fail)({});
        night.microphone->changeInputFormat({48'000.0, 1});
    });
}

void oddBuffers(Night& night, std::int64_t length, std::int64_t variant) {
    static const std::array<std::vector<std::uint32_t>, 5> kSizes{
        {{19'199, 19'201}, {0, 1, 2, 19'197}, {480'001, 3}, {1'440'000}, {9'600, 4'410, 1'024}}};
    night.microphone->setBufferSizes(chosen(kSizes, variant));
    night.later(std::min(milliseconds(length), 120'000ms),
                [&night] { night.microphone->setBufferSizes(night.usualBuffers); });
}

void fileFault(Night& night, std::int64_t length, std::int64_t variant) {
    static const std::array<std::optional<Operation>, 12> kOperations{Operation::open,
                                                                      Operation::read,
                                                                      Operation::write,
                                                                      Operation::seek,
                                                                      Operation::fileSize,
                                                                      Operation::size,
                                                                      Operation::remove,
                                                                      Operation::replace,
                                                                      Operation::list,
                                                                      Operation::temporaryDirectory,
                                                                      Operation::documentsDirectory,
                                                                      std::nullopt};
    static const std::array<std::string, 6> kPaths{"*",     "/tmp/*", "/documents/*",
                                                   "*.pcm", "*.mel",  "*_send.log"};
    static constexpr std::array kErrors{ErrorKind::io, ErrorKind::noSpace, ErrorKind::accessDenied};
    night.files->addFault({.operation = chosen(kOperations, variant),
                           .path = chosen(kPaths, variant / 12),
                           .nth = static_cast<std::size_t>(1 + variant / 72 % 5),
                           .fromThenOn = variant / 360 % 2 == 0,
                           .kind = chosen(kErrors, variant / 720),
                           .keptBytes = variant % 7 == 0 ? 100U : 0U});
    night.service->allowRepeatedLogs();
    night.failFiles(milliseconds(length));
    night.later(milliseconds(length), [&night] { night.files->clearFaults(); });
}

void temporaryDirectoryGone(Night& night, std::int64_t length, std::int64_t variant) {
    night.files->removeDirectory("/tmp/velmor/");
    if (variant % 2 == 0) return;
    night.failFiles(milliseconds(length));
    night.files->put("/tmp/velmor", "a file in its place");
    night.later(milliseconds(length), [&night] {  // not `remove`, which may be failing just then
        if (night.files->contents("/tmp/velmor")) night.files->removeDirectory("/tmp/velmor");
    });
}

// Chunks pile up behind a slow upload while the loop stands still, and then the host stops.
void stopWithBacklog(Night& night, std::int64_t length, std::int64_t variant) {
    const auto standing = 31'000ms + milliseconds(length % 29'000);
    trouble(night, variant % 2 == 0 ? Trouble::slow : Trouble::silence, 120'000, variant, {Call::mel});
    night.stall(standing);
    night.later(standing - 1ms, [&night] { night.stop(); });
}

void notice(Night& night, const decltype(AudioNotification::event)& event) {
    night.microphone->notify({event, {}});
}

// The operation number `nth` of the night's files fails, or all from there on, for 150 s at most; somebody
// else's chunk is there to be swept. The night goes on as if nothing had been.
void operationFails(Night& night, std::int64_t nth, std::int64_t variant) {
    constexpr auto kLength = 150s;
    const bool once = variant % 2 == 0;
    night.files->put("/tmp/velmor/chunk-01:02:03:04_0.pcm", "of a dead process");
    night.beginFileFault({.nth = static_cast<std::size_t>(nth),
                          .fromThenOn = !once,
                          .kind = variant / 4 % 2 == 0 ? ErrorKind::io : ErrorKind::noSpace,
                          .keptBytes = variant / 2 % 2 == 0 ? 0U : 7U});
    night.service->allowRepeatedLogs();
    night.ledger.disturbed(kLength);
    night.failFiles(kLength);
    night.later(kLength, [&night] { night.endFileFault(); });
    night.expect([&night, once] {
        if (night.ledger.recorderFailures() > (once ? 1U : 6U)) night.ledger.broken("a failure told again");
        if (night.ledger.sinceUpload() > 8min) night.ledger.broken("no chunk after the files came back");
    });
}

// `variant`: 100 x which call + what the host does in it.
void delegateCall(Night& night, std::int64_t, std::int64_t variant) {
    const auto* call = delegateCalls()[static_cast<std::size_t>(variant / 100) % delegateCalls().size()];
    night.armDelegate(static_cast<std::size_t>(variant % 100) % actions().size(), call);
    night.expect([&night, call] {
        if (!night.acted()) return night.ledger.broken(std::string("the host never heard ") + call);
        if (night.callsSinceAction() == 0) night.ledger.broken(std::string("no call after ") + call);
    });
}

using N = Night;
using L = std::int64_t;
using Microphone = Testing::VirtualMicrophone;

constexpr auto kAll = std::to_array<Kind>({
        {Group::audio, "interruption", 12,
         [](N& n, L length, L) {
             n.microphone->beginInterruption();
             n.later(milliseconds(length), [&n] { n.microphone->endInterruption(); });
         }},
        {Group::audio, "interruption-unended", 3, [](N& n, L, L) { n.microphone->beginInterruption(); }},
        {Group::audio, "began-twice", 2,
         [](N& n, L length, L) {
             n.microphone->beginInterruption();
             notice(n, AudioNotification::InterruptionBegan{});
             n.later(milliseconds(length), [&n] { n.microphone->endInterruption(); });
         }},
        {Group::audio, "ended-twice", 2,
         [](N& n, L length, L) {
             n.microphone->beginInterruption();
             n.later(milliseconds(length), [&n] {
                 n.microphone->endInterruption();
                 n.microphone->endInterruption();
             });
         }},
        {Group::audio, "ended-first", 2, [](N& n, L, L) { n.microphone->endInterruption(); }},
        {Group::audio, "buffers-lost", 4,
         [](N& n, L, L v) { n.microphone->loseBuffers(static_cast<std::size_t>(1 + v % 40)); }},
        {Group::audio, "buffers-stop", 4,
         [](N& n, L length, L) {
             n.microphone->setDelivering(false);
             n.later(milliseconds(length), [&n] { n.microphone->setDelivering(true); });
         }},
        {Group::audio, "format-change", 3,
         [](N& n, L length, L v) {
             n.microphone->changeInputFormat(oddFormat(v));
             n.later(milliseconds(length), [&n] { n.microphone->changeInputFormat({48'000.0, 1}); });
         }},
        {Group::audio, "format-unfit", 2,
         [](N& n, L length, L v) {
             n.microphone->setInputFormat(oddFormat(v));
             n.later(milliseconds(length), [&n] { n.microphone->setInputFormat({48'000.0, 1}); });
         }},
        {Group::audio, "configuration-change", 3,
         [](N& n, L, L v) {
             if (v % 2 == 0) return n.microphone->changeInputFormat({48'000.0, 1});
             notice(n, AudioNotification::EngineConfigurationChanged{});
         }},
        {Group::audio, "route-change", 2,
         [](N& n, L, L) { n.microphone->changeRoute("newDeviceAvailable", {"Speaker"}); }},
        {Group::audio, "media-reset", 3, [](N& n, L, L) { n.microphone->resetMediaServices(); }},
        {Group::audio, "activation-fails", 3,
         [](N& n, L length, L v) { failing(n, &Microphone::failActivating, length, v); }},
        {Group::audio, "start-fails", 3,
         [](N& n, L length, L v) { failing(n, &Microphone::failStarting, length, v); }},
        {Group::audio, "configuring-fails", 3,
         [](N& n, L length, L v) { failing(n, &Microphone::failConfiguring, length, v); }},
        {Group::audio, "odd-buffers", 3, oddBuffers},
        {Group::audio, "permission", 3, permission},

        {Group::server, "status", 12,
         [](N& n, L length, L v) { trouble(n, Trouble::status, length, v, someCalls(v / 7)); }, true},
        {Group::server, "upload-refused", 4,
         [](N& n, L length, L v) {
             trouble(n, Trouble::status, length, v % 2 == 0 ? 303 : 304, {Call::mel});
         }},
        {Group::server, "garbage", 4,
         [](N& n, L length, L v) { trouble(n, Trouble::garbage, length, v, someCalls(v / 8)); }, true},
        {Group::server, "silence", 6,
         [](N& n, L length, L v) { trouble(n, Trouble::silence, length, v, someCalls(v)); }, true},
        {Group::server, "reset", 6,
         [](N& n, L length, L v) { trouble(n, Trouble::failure, length, v, someCalls(v / 5)); }, true},
        {Group::server, "slow", 8,
         [](N& n, L length, L v) { trouble(n, Trouble::slow, length, v, someCalls(v)); }, true},
        {Group::server, "create-fails", 3,
         [](N& n, L length, L v) { trouble(n, Trouble::status, length, 300 + v % 200, {Call::create}); },
         true},
        {Group::server, "close-fails", 3,
         [](N& n, L length, L v) { trouble(n, Trouble::status, length, 300 + v % 200, {Call::close}); },
         true},

        {Group::storage, "file-fault", 12, fileFault},
        {Group::storage, "operation-fails", 0, operationFails},
        {Group::storage, "temporary-gone", 3, temporaryDirectoryGone},
        {Group::storage, "conversion-fails", 4, [](N& n, L, L v) { n.failConversions(1 + v % 4); }},

        {Group::time, "wall-step", 6,
         [](N& n, L length, L v) {
             static constexpr std::array<L, 6> kSeconds{1, 29, 31, 3'600, 86'400, 31'536'000};
             const auto by = milliseconds(length % 1'000) + std::chrono::seconds(chosen(kSeconds, v));
             n.clock->stepWall(v / 6 % 2 == 0 ? by : -by);
         },
         true},
        {Group::time, "zone-change", 2,
         [](N& n, L, L v) { n.device->setTimeZone("Test/Zone", std::chrono::hours(v % 25 - 12)); }, true},
        {Group::time, "suspend", 5, [](N& n, L length, L) { n.suspend(milliseconds(length)); }},
        {Group::time, "stall", 5,
         [](N& n, L length, L) { n.stall(std::min(milliseconds(length), 60'000ms)); }},

        {Group::use, "stop", 4, [](N& n, L, L) { n.stop(); }},
        {Group::use, "start", 3, [](N& n, L, L) { n.start(); }},
        {Group::use, "stop-start", 3,
         [](N& n, L length, L) {
             n.stop();
             n.later(milliseconds(length), [&n] { n.start(); });
         }},
        {Group::use, "stop-with-backlog", 3, stopWithBacklog},
        {Group::use, "resume", 3, [](N& n, L, L) { n.resume(); }},
        {Group::use, "analysis", 2, [](N& n, L, L) { n.analyse(); }, true},
        {Group::use, "status-asked", 2, [](N& n, L, L) { n.ask(); }, true},
        {Group::use, "new-configuration", 3, [](N& n, L, L) { n.configure(); }},
        {Group::use, "new-manager", 3, [](N& n, L, L) { n.replaceManager(false); }},
        {Group::use, "two-managers", 1, [](N& n, L, L) { n.replaceManager(true); }},
        {Group::use, "delete-user", 2, [](N& n, L, L) { n.removeUser(); }, true},
        {Group::use, "recorder-beside", 1, [](N& n, L length, L) { n.recordBeside(milliseconds(length)); }},
        {Group::use, "delegate-acts", 8,
         [](N& n, L, L v) { n.armDelegate(static_cast<std::size_t>(v % 10)); }},
        {Group::use, "delegate-call", 0, delegateCall},
        {Group::use, "query", 0, [](N& n, L, L) { n.queryReport(); }, true},
        {Group::use, "debug-delegate-throws", 2, [](N& n, L, L) { n.armDebugDelegate(); }, true},
});

}  // namespace

std::span<const Kind> kinds() {
    return kAll;
}

const char* name(Group group) {
    static constexpr std::array<const char*, 5> kNames{"audio", "server", "storage", "time", "use"};
    return kNames[static_cast<std::size_t>(group)];
}

}  // namespace Velmor::Nights
