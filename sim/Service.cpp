#include "Service.hpp"

#include "Garbage.hpp"

#include <algorithm>
#include <array>

namespace Velmor::Nights {
namespace {

using namespace std::chrono_literals;

constexpr std::string_view kBase = "http://localhost/base/";
constexpr std::size_t kMelBytes = 96'157;

std::string_view header(const HttpRequest& request, std::string_view name) {
    for (const auto& [key, value] : request.headers)
        if (key == name) return value;
    return {};
}

std::size_t count(std::string_view text, std::string_view part) {
    std::size_t found = 0;
    for (auto at = text.find(part); at != text.npos; at = text.find(part, at + 1)) ++found;
    return found;
}

}  // namespace

class Service::Exchange : public HttpExchange {
  public:
    Exchange(Ledger& ledger, std::uint64_t flight, std::unique_ptr<HttpExchange> inner)
        : ledger_(ledger), flight_(flight), inner_(std::move(inner)) {}
    ~Exchange() override { ledger_.givenUp(flight_); }

  private:
    Ledger& ledger_;
    const std::uint64_t flight_;
    const std::unique_ptr<HttpExchange> inner_;
};

Service::Service(std::shared_ptr<Executor> loop, std::shared_ptr<Testing::VirtualClock> clock, Ledger& ledger,
                 std::uint64_t seed, std::string key, bool audio)
    : clock_(std::move(clock)),
      ledger_(ledger),
      random_(seed),
      key_(std::move(key)),
      audio_(audio),
      scripted_(std::move(loop)) {
    scripted_.setHandler([this](const HttpRequest&) { return answer(); });
}

std::unique_ptr<HttpExchange> Service::send(HttpRequest request, Completion completion) {
    const auto sent = understand(request);
    ledger_.note(request.method + " " + request.url.absoluteString());
    inspect(request, sent.call);
    const auto flight = ledger_.sent(sent);
    call_ = sent.call;
    const auto accepted = std::make_shared<bool>(false);
    accepted_ = accepted;
    request.body.clear();  // what was looked at need not be remembered
    auto inner = scripted_.send(std::move(request), [this, flight, accepted, call = call_,
                                                     tell = std::move(completion)](HttpResult result) {
        const auto* response = std::get_if<HttpResponse>(&result);
        ledger_.note("answer " + (response ? std::to_string(response->status) : "failure"));
        ledger_.answered(flight, response && *accepted);
        if (call == Call::log) --logsInFlight_;
        tell(std::move(result));
    });
    return std::make_unique<Exchange>(ledger_, flight, std::move(inner));
}

Sent Service::understand(const HttpRequest& request) const {
    Sent sent;
    sent.owner = header(request, "x-user-id");
    std::string_view path = request.url.absoluteString();
    if (!path.starts_with(kBase)) {
        sent.call = path.find("datadog") != path.npos ? Call::log : Call::other;
        return sent;
    }
    path.remove_prefix(kBase.size());
    if (path.starts_with("ai/v1/users")) sent.call = Call::user;
    if (path.starts_with("data/v3/sessions/"))
        sent.call = sent.owner == kReader ? Call::report : Call::analysis;
    if (path == "ai/v1/sessions") sent.call = Call::create;
    if (path.starts_with("ai/v1/sessions/")) {
        path.remove_prefix(15);
        sent.session = path.substr(0, path.find('/'));
        path.remove_prefix(sent.session.size());
        sent.call = path == "/close" ? Call::close : path.starts_with("/mel-data/") ? Call::mel : Call::other;
        if (sent.call == Call::mel) sent.sequence = std::stoll(std::string(path.substr(10)));
    }
    return sent;
}

void Service::inspect(const HttpRequest& request, Call call) {
    if (call == Call::other) ledger_.broken("a request to nowhere: " + request.url.absoluteString());
    for (const auto& [name, value] : request.headers)
        if ((value.find(key_) != value.npos) != (name == "x-api-key"))
            ledger_.broken("the API key is not where it belongs: " + name);
    const auto keys = call == Call::mel ? 0 : count(request.body, key_);
    const bool tagged = request.body.find("apikey:" + key_) != std::string::npos;
    if (keys > 1 || (keys == 1 && !(call == Call::log && tagged)) ||
        request.url.absoluteString().find(key_) != std::string::npos)
        ledger_.broken("the API key shows in a request");
    if (call == Call::mel) inspectUpload(request);
    if (call == Call::log) inspectLog(request);
}

void Service::inspectUpload(const HttpRequest& request) {
    const auto boundary = std::string(header(request, "Content-Type")).substr(30);
    const auto from = request.body.find("\r\n\r\n");
    const auto to = request.body.rfind("\r\n--" + boundary + "--");
    if (from == std::string::npos || to == std::string::npos || to < from + 4)
        return ledger_.broken("an upload that is no form");
    const auto bytes = std::string_view(request.body).substr(from + 4, to - from - 4);
    const bool whole = audio_ ? bytes.size() == kMelBytes && bytes.starts_with("\x93NUMPY")
                              : bytes.starts_with("mel ") && bytes.ends_with(" end");
    if (!whole) ledger_.broken("an upload of " + std::to_string(bytes.size()) + " bytes, torn or foreign");
}

void Service::inspectLog(const HttpRequest& request) {
    static constexpr std::string_view kMessage = R"("message":")";
    const auto from = request.body.find(kMessage);
    if (from == std::string::npos) return ledger_.broken("a shipped log without a message");
    const auto to = request.body.find("\",\"service\"", from);
    auto message = request.body.substr(from + kMessage.size(), to - from - kMessage.size());
    if (!logsMayRepeat_ && logsInFlight_ == 0 && lastLog_.size() > 30 &&
        message.find(lastLog_) != std::string::npos)
        ledger_.broken("a text of the log shipped twice");
    ledger_.checkLogText(message, "\\n");
    lastLog_ = std::move(message);  // a text whose shipment is under way rides along with the next
    ++logsInFlight_;
}

std::optional<HttpResult> Service::answer() {
    scripted_.setDelay(
        std::chrono::milliseconds(random_.chance(90) ? 20 + random_.below(400) : random_.below(14'000)));
    std::erase_if(rules_, [this](const Rule& rule) { return rule.until < clock_->bootNow(); });
    const auto found = std::find_if(rules_.begin(), rules_.end(), [this](const Rule& rule) {
        return rule.calls.empty() ||
               std::find(rule.calls.begin(), rule.calls.end(), call_) != rule.calls.end();
    });
    if (found == rules_.end()) {
        *accepted_ = accepts();
        return usual();
    }
    const auto rule = *found;
    if (rule.once) rules_.erase(found);
    return misbehave(rule);
}

HttpResponse Service::usual() {
    switch (call_) {
        case Call::user:
            return {200, {}, R"({"result":{"user_id":"joined"}})"};
        case Call::create:
            return {200, {}, R"({"result":{"session_id":"s)" + std::to_string(++sessions_) + R"("}})"};
        case Call::close:
            closed_ = true;
            return {200, {}, "{}"};
        case Call::analysis:
        case Call::report:
            if (closed_)
                return {200,
                        {},
                        R"({"result":{"timezone":"UTC","peculiarities":[],"missing_data_ratio":0,"session":)"
                        R"({"id":"s1","state":"COMPLETE","start_time":"2024-03-05T23:10:04Z",)"
                        R"("created_timezone":"UTC"}}})"};
            return {404, {}, R"({"result":{"error_code":4},"detail":"not analysed yet"})"};
        default:
            return {200, {}, "{}"};
    }
}

std::optional<HttpResult> Service::misbehave(const Rule& rule) {
    static constexpr std::array kKinds{PlatformError::Kind::cannotConnect, PlatformError::Kind::timedOut,
                                       PlatformError::Kind::insecure, PlatformError::Kind::badResponse,
                                       PlatformError::Kind::badRequest};
    const auto variant = static_cast<std::size_t>(rule.variant);
    const auto& garbage = Nights::garbage()[variant % Nights::garbage().size()].body;
    switch (rule.trouble) {
        case Trouble::status: {
            const int status = static_cast<int>(rule.variant % 500) + 100;
            const bool result = status >= 200 && status < 400 && status != 204;
            *accepted_ =
                result ? accepts() : status == 204 && call_ != Call::create && call_ != Call::analysis;
            if (result) return HttpResult(HttpResponse{status, {}, usual().body});
            const bool wordy = rule.variant % 3 == 0;
            return HttpResult(HttpResponse{status, {}, wordy ? R"({"detail":"no"})" : garbage});
        }
        case Trouble::garbage:
            return HttpResult(HttpResponse{200, {}, garbage});
        case Trouble::silence:
            return {};
        case Trouble::failure:
            return HttpResult(PlatformError(kKinds[variant % kKinds.size()], "simulated"));
        case Trouble::slow:
            scripted_.setDelay(std::chrono::milliseconds(rule.variant * 2));  // up to 20 s
            *accepted_ = accepts();
            return usual();
    }
    return {};
}

}  // namespace Velmor::Nights
