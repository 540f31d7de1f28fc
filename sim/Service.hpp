// The service as a night meets it: it answers, late or wrong or not at all, and looks at what it is sent.
#pragma once

#include "Ledger.hpp"
#include "Random.hpp"

#include <memory>
#include <string>
#include <vector>

#include <Velmor/Testing.hpp>

namespace Velmor::Nights {

class Service : public HttpTransport {
  public:
    enum class Trouble { status, garbage, silence, failure, slow };
    struct Rule {
        BootTime until;
        std::vector<Call> calls;  ///< empty: all
        Trouble trouble;
        std::int64_t variant;
        bool once = false;
    };

    Service(std::shared_ptr<Executor> loop, std::shared_ptr<Testing::VirtualClock> clock, Ledger& ledger,
            std::uint64_t seed, std::string key, bool audio);

    std::unique_ptr<HttpExchange> send(HttpRequest request, Completion completion) override;
    void add(Rule rule) { rules_.push_back(std::move(rule)); }
    /// From now on a text may be shipped twice: the send file could not be removed.
    void allowRepeatedLogs() { logsMayRepeat_ = true; }
    BootTime now() const { return clock_->bootNow(); }

  private:
    class Exchange;

    Sent understand(const HttpRequest& request) const;
    void inspect(const HttpRequest& request, Call call);
    void inspectUpload(const HttpRequest& request);
    void inspectLog(const HttpRequest& request);
    std::optional<HttpResult> answer();
    std::optional<HttpResult> misbehave(const Rule& rule);
    HttpResponse usual();
    bool accepts() const { return closed_ || (call_ != Call::analysis && call_ != Call::report); }

    const std::shared_ptr<Testing::VirtualClock> clock_;
    Ledger& ledger_;
    Random random_;
    const std::string key_;
    const bool audio_;
    Testing::ScriptedTransport scripted_;
    std::vector<Rule> rules_;
    Call call_ = Call::other;         // of the request being answered
    std::shared_ptr<bool> accepted_;  // likewise
    int sessions_ = 0;
    bool closed_ = false;  // a session; its analysis can be had
    bool logsMayRepeat_ = false;
    int logsInFlight_ = 0;
    std::string lastLog_;
};

}  // namespace Velmor::Nights
